// What the members of one threaded call share, in a header of its own so
// that the core, which starts the team, can zero it without the engine's
// records.
#pragma once

#include <cstdint>

namespace orb::engine {

// Zeroed by the caller; both counters only grow.
struct alignas(64) gemm_barrier {
  std::uint64_t arrived;
  char pad0[56];
  std::uint64_t released;
  char pad1[56];
};

// One x?gemm_team call: the team's barrier and the memory thread 0 takes
// for the shared B panels and every member's A panel. Zeroed by the caller.
struct alignas(64) gemm_team_state {
  gemm_barrier barrier;
  void* block;
};

}  // namespace orb::engine
