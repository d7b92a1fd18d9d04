// The numbers that name components in the "last rendered" tests of a render state.
#include "lumox/scene/lumrenderstate.h"

#include <atomic>

namespace lumox {

TLumStateKey NewStateKey() {
  // A counter, not a cache: 2^64 numbers outlast any process.
  static std::atomic<TLumStateKey> Last{0};
  return Last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace lumox
