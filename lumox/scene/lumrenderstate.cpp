// The numbers that name components in the "last rendered" tests of a render state.
#include "lumox/scene/lumrenderstate.h"

#include <atomic>

namespace lumox {

TLumStateKey NewStateKey() {
  // A counter, not a cache. 0 names no component, so it is skipped when the count wraps.
  static std::atomic<TLumStateKey> Last{0};
  TLumStateKey Key = Last.fetch_add(1, std::memory_order_relaxed) + 1;
  if (Key == 0) Key = Last.fetch_add(1, std::memory_order_relaxed) + 1;
  return Key;
}

}  // namespace lumox
