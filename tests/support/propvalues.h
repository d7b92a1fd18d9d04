// A value of a published property other than its current one, inside the property's
// range: what the table tests set to see a change go through and come back.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

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

}  // namespace lumox::test
