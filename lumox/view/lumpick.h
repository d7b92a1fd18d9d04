// Selection hits as OpenGL's selection mode reports them: TLumName, TLumSelection (one
// hit record: its name stack and depth range) and TLumSelectionList (all hits of a pass).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "lumox/host/classes.h"

namespace lumox {

// One selection name of a hit's name stack.
class TLumName : public TObject {
 public:
  explicit TLumName(uint32_t AName = 0) : Name(AName) {}
  const char* ClassName() const override { return "TLumName"; }
  uint32_t Name;
};

// One hit record: the name stack (outermost first) and the window depths 0..1.
class TLumSelection : public TObject {
 public:
  const char* ClassName() const override { return "TLumSelection"; }
  int32_t GetCount() const { return static_cast<int32_t>(FNames.size()); }
  // The name value at Index; 0 outside the stack.
  uint32_t GetNames(int32_t Index) const;
  bool IsSelected(uint32_t Name) const;
  float MinZ() const { return FMinZ; }
  float MaxZ() const { return FMaxZ; }
  // Frees the names; MinZ and MaxZ become 0.
  void Clear();
  // Reads the hit record at P (name count, minimum and maximum depth, the names) and
  // returns the words it takes: count + 3. A record without names leaves both depths
  // at 1.0. Avail is the number of words left in the buffer from P on.
  int32_t SetHitRecord(const uint32_t* P, size_t Avail);

 private:
  std::vector<std::unique_ptr<TLumName>> FNames;
  float FMinZ = 0.0f;
  float FMaxZ = 0.0f;
};

// The hits of one selection pass, in the order OpenGL wrote them.
class TLumSelectionList : public TObject {
 public:
  TLumSelectionList() = default;
  ~TLumSelectionList() override { Clear(); }
  const char* ClassName() const override { return "TLumSelectionList"; }
  int32_t GetCount() const { return static_cast<int32_t>(FItems.size()); }
  // The hit at Index, or nullptr outside the list.
  TLumSelection* GetItems(int32_t Index) const;
  // Whether any hit holds Name on its stack.
  bool IsSelected(uint32_t Name) const;
  // The hit with the smallest MinZ, the first of equals; nullptr for an empty list.
  TLumSelection* GetTopMost() const;
  void Clear();
  // Reads HitCount records from a buffer of Words words; a negative count (an
  // overflowed buffer) leaves the list empty.
  void SetHitRecords(const uint32_t* Buffer, int32_t HitCount, size_t Words);

 private:
  std::vector<std::unique_ptr<TLumSelection>> FItems;
};

}  // namespace lumox
