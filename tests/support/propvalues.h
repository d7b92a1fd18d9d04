// A value of a published property other than its current one, inside the property's
// range: what the table tests set to see a change go through and come back.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <variant>

#include "lumox/host/classes.h"
#include "lumox/host/proptable.h"

namespace lumox::test {

// Numbers move by Step (back by Step where the range stops them), whole-number kinds and
// colours flip the bits of Mask, booleans, enumerations and sets take their next value.
inline TLumValue OtherValue(const TLumPropInfo* P, const TLumValue& Now, double Step = 0.5,
                            uint32_t Mask = 0x123456u) {
  auto Admit = [P](double V) { return !P->Range || P->Range->Contains(V); };
  switch (P->Kind) {
    case pkBoolean:
      return !std::get<bool>(Now);
    case pkEnumeration:
      return (std::get<int64_t>(Now) + 1) % int64_t(P->Names.size());
    case pkSet:
      return std::get<uint32_t>(Now) ^ 1u;
    case pkCardinal:
    case pkColor:
      return std::get<uint32_t>(Now) ^ Mask;
    case pkInteger: {
      const int64_t V = std::get<int64_t>(Now);
      return Admit(double(V + 1)) ? V + 1 : V - 1;
    }
    case pkSingle: {
      const float V = std::get<float>(Now);
      return Admit(V + Step) ? V + float(Step) : V - float(Step);
    }
    case pkDouble: {
      const double V = std::get<double>(Now);
      return Admit(V + Step) ? V + Step : V - Step;
    }
    case pkString:
      return std::string("Probe1");
    default:
      return Now;
  }
}

// Every published value of A equals B's, owned objects compared the same way and
// references by name and class; events and the read-only Active are left out, and so is
// what Skip picks (given the objects' class and the property).
inline void ExpectSameValues(
    TPersistent* A, TPersistent* B, const std::string& Where,
    const std::function<bool(const TLumClassInfo*, const TLumPropInfo*)>& Skip = {}) {
  auto Ref = [](const TComponent* C) { return C ? C->Name() + ":" + C->ClassName() : "nil"; };
  const TLumClassInfo* C = GetClassInfo(A);
  ASSERT_EQ(C, GetClassInfo(B)) << Where;
  for (const TLumPropInfo* P : C->Properties()) {
    const std::string At = Where + "." + P->Name;
    if (P->Kind == pkEvent || P->Name == "Active") continue;
    if (Skip && Skip(C, P)) continue;
    if (P->Kind == pkObject) {
      TPersistent *OA = P->GetObject(A), *OB = P->GetObject(B);
      ASSERT_EQ(OA == nullptr, OB == nullptr) << At;
      if (OA) ExpectSameValues(OA, OB, At, Skip);
    } else if (P->Kind == pkComponent) {
      EXPECT_EQ(Ref(std::get<TComponent*>(P->GetValue(A))),
                Ref(std::get<TComponent*>(P->GetValue(B))))
          << At;
    } else {
      EXPECT_EQ(P->GetValue(A), P->GetValue(B)) << At << ": " << P->FormatValue(P->GetValue(A));
    }
  }
}

}  // namespace lumox::test
