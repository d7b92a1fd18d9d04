// The component model the library is built on: TObject, TPersistent and TComponent
// (owner, name, state, removal notification), the event aliases, the exceptions and
// the small set template used for sets of enumeration values.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "lumox/host/rankedlist.h"

namespace lumox {

// Failures of the library carry a fixed English message.
class Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Conversion failures (bad numbers in files, impossible assignments).
class EConvertError : public Exception {
 public:
  using Exception::Exception;
};

// Case-insensitive comparison of ASCII names (class names, tags, attribute names).
bool SameText(std::string_view A, std::string_view B);
std::string UpperCase(std::string_view S);

// A set of values of a small enumeration, one bit per ordinal.
template <typename E>
class TLumSet {
 public:
  constexpr TLumSet() = default;
  constexpr TLumSet(std::initializer_list<E> Values) {
    for (E V : Values) FBits |= Bit(V);
  }
  static constexpr TLumSet FromBits(uint32_t Bits) {
    TLumSet S;
    S.FBits = Bits;
    return S;
  }
  constexpr uint32_t Bits() const { return FBits; }
  constexpr bool Contains(E V) const { return (FBits & Bit(V)) != 0; }
  constexpr bool Empty() const { return FBits == 0; }
  constexpr void Include(E V) { FBits |= Bit(V); }
  constexpr void Exclude(E V) { FBits &= ~Bit(V); }
  constexpr TLumSet operator+(TLumSet O) const { return FromBits(FBits | O.FBits); }
  constexpr TLumSet operator-(TLumSet O) const { return FromBits(FBits & ~O.FBits); }
  constexpr TLumSet operator*(TLumSet O) const { return FromBits(FBits & O.FBits); }
  constexpr bool operator==(const TLumSet&) const = default;

 private:
  static constexpr uint32_t Bit(E V) { return uint32_t{1} << static_cast<unsigned>(V); }
  uint32_t FBits = 0;
};

// The compare-store-notify step every setter shares: when Value differs from Field,
// stores it and calls Notify (the class's Changed, or its own notification); returns
// whether it did. Range checks stay in the setter, before it.
template <typename T, typename V, typename N>
bool StoreChanged(T& Field, const V& Value, N&& Notify) {
  if (Field == Value) return false;
  Field = Value;
  Notify();
  return true;
}

class TLumStreamable;
class TLumExchange;
class TXMLTag;
class TLumCustomNode;

class TObject {
 public:
  TObject() = default;
  TObject(const TObject&) = delete;
  TObject& operator=(const TObject&) = delete;
  virtual ~TObject() = default;
  virtual const char* ClassName() const { return "TObject"; }
  bool ClassNameIs(std::string_view Name) const { return SameText(ClassName(), Name); }
  // The object as an element of a scene file, or nullptr for an object scene files do
  // not hold: the exchange asks this rather than testing classes.
  virtual TLumStreamable* Streamable() { return nullptr; }
};

using TNotifyEvent = std::function<void(TObject* Sender)>;
using TGetStrProc = std::function<void(const std::string& S)>;

// Objects that can copy their contents from one another.
class TPersistent : public TObject {
 public:
  const char* ClassName() const override { return "TPersistent"; }
  // Copies Source into this object; the base asks Source to assign itself to this
  // object and raises EConvertError when neither side knows the other.
  virtual void Assign(TPersistent* Source);

 protected:
  virtual void AssignTo(TPersistent* Dest);
};

// The scene-file protocol: how a component or a value object writes itself as an element
// of a LUMGL file and reads itself back. The exchange makes these calls on every object
// alike; the exchange unit implements the writer and reader they take, and the default
// WriteComp. Components carry it in their one chain of bases, so that no object pays for
// a second table pointer; the scene classes (TLumComponent, TLumProperty) answer
// Streamable(), other components (views, timers) are not held by scene files.
class TLumStreamable : public TPersistent {
 public:
  const char* ClassName() const override { return "TLumStreamable"; }
  // Writes the object as the element Tag: its start tag, WriteValues, its end tag.
  virtual void WriteComp(TLumExchange* Exchange, std::string_view Tag);
  // Writes the attributes and child elements of the open element.
  virtual void WriteValues(TLumExchange*) {}
  // Reads the attributes of the element being loaded.
  virtual void ReadValues(TLumExchange*) {}
  // Offered each child element while loading; returns the object that took it.
  virtual TObject* ReadComp(TLumExchange*, TXMLTag*) { return nullptr; }
  // The object as a node (a container of scene components), or nullptr.
  virtual TLumCustomNode* AsNode() { return nullptr; }
  // A load into this object has completed: it hears of its new content once.
  virtual void Loaded() {}
};

enum TOperation : uint8_t { opInsert, opRemove };
enum TComponentStateItem : uint8_t { csLoading, csReading, csWriting, csDestroying, csDesigning };
using TComponentState = TLumSet<TComponentStateItem>;

using TNotificationEvent = std::function<void(class TComponent* AComponent, TOperation Operation)>;

// A component is owned by another component (or by nobody) and freed by its owner.
// When a component dies, every component registered through FreeNotification
// receives Notification(it, opRemove), the last registered first, so that it can clear
// its references; the owner receives it next and passes it (like insertions) on to
// those of its components that asked for their siblings' notifications
// (SetSiblingNotifications), the last to ask first. Holding a reference means
// registering FreeNotification: that keeps scenes of many components linear in time,
// since an insertion does not visit every sibling. The bookkeeping is held in the
// components themselves (each registration is one link in both components' lists, each
// component knows where it is in its owner's lists), so that a death costs constant
// time whatever the number of siblings and registrations around it.
class TComponent : public TLumStreamable {
 public:
  explicit TComponent(TComponent* AOwner);
  ~TComponent() override;
  const char* ClassName() const override { return "TComponent"; }

  TComponent* Owner() const { return FOwner; }
  const std::string& Name() const { return FName; }
  // Renames the component; the name must be empty or an identifier, unique among
  // the owner's components (compared without regard to case).
  virtual void SetName(const std::string& NewName);
  TComponentState ComponentState() const { return FComponentState; }
  int64_t Tag() const { return FTag; }
  void SetTag(int64_t Value) { FTag = Value; }

  int ComponentCount() const { return FOwned ? static_cast<int>(FOwned->Components.Size()) : 0; }
  TComponent* Components(int Index) const;
  TComponent* FindComponent(std::string_view AName) const;
  void InsertComponent(TComponent* AComponent);
  void RemoveComponent(TComponent* AComponent);
  // The place of this component among its owner's components, -1 without an owner.
  // Setting it (clamped to the list) moves the component there; the others keep their
  // order, and nobody is told, as the component neither comes nor goes.
  int ComponentIndex() const;
  void SetComponentIndex(int Value);
  // Frees every owned component, last first.
  void DestroyComponents();

  // AComponent is told (Notification opRemove) when this component dies, and the
  // other way round.
  void FreeNotification(TComponent* AComponent);
  void RemoveFreeNotification(TComponent* AComponent);

  // Whether this component is told of its siblings' insertion and removal through
  // its owner (off by default; references are cleared through FreeNotification).
  void SetSiblingNotifications(bool Value);
  bool SiblingNotifications() const { return FSiblingNotifications; }

  // Design mode and loading state, set on this component and its owned components.
  void SetDesigning(bool Value);
  void SetLoading(bool Value);
  // Marks the component and its owned components as being read from a scene file.
  void SetReading(bool Value);

 protected:
  // Called when a component is inserted into or removed from the owner, and when a
  // component registered through FreeNotification dies. The base passes the call on
  // to the owned components that asked for sibling notifications.
  virtual void Notification(TComponent* AComponent, TOperation Operation);
  // Marks the component as being destroyed and sends the removal notifications.
  // Runs once; a class whose removal makes others call back into it calls this
  // first in its own destructor, while all of it is still alive.
  void Destroying();

 private:
  struct TLink;
  void ChangeState(TComponentStateItem Item, bool Value);
  // The registration between this component and Other, or nullptr; looked for in the
  // shorter of the two lists.
  TLink* FindLink(const TComponent* Other) const;
  void Attach(TLink* L, int Side);
  void Detach(TLink* L, int Side);
  static void Unlink(TLink* L);
  static TLink* NewLink(TComponent* A, TComponent* B);
  static void FreeLink(TLink* L);
  void DropListener(TComponent* C);
  void CompactListeners();
  // Where each owned component is in FComponents (TRankedList::TPlaced).
  static void Placed(void* Context, uintptr_t Entry, TRankedList::TLeaf* From,
                     TRankedList::TLeaf* To);

  TComponent* FOwner = nullptr;
  std::string FName;
  TComponentState FComponentState;
  bool FSiblingNotifications = false;
  int64_t FTag = 0;
  // What only an owner needs, made with its first owned component: most components of
  // a scene own none, and would carry these containers unused.
  struct TOwned {
    // Owned components in insertion order.
    TRankedList Components{&Placed};
    // Owned components by upper-cased name, for unique names in constant time.
    std::unordered_map<std::string, TComponent*> Names;
    // Owned components that asked for sibling notifications, in the order they asked; a
    // listener that stops leaves an empty place (its index is kept in it), filled in
    // when no notification is running.
    std::vector<TComponent*> Listeners;
    uint32_t ListenerHoles = 0;
    uint32_t Notifying = 0;
  };
  TOwned& Owned();
  std::unique_ptr<TOwned> FOwned;
  // Where this component is in its owner's list, and in its owner's listeners.
  TRankedList::TLeaf* FOwnerLeaf = nullptr;
  int32_t FListenerIndex = -1;
  // The FreeNotification registrations, oldest first.
  uint32_t FLinkCount = 0;
  TLink* FFirstLink = nullptr;
  TLink* FLastLink = nullptr;
};

}  // namespace lumox
