// The core's own team of threads for GEMM: helpers that stay awake a little
// while after each call, so that a run of threaded calls pays for waking
// them once rather than per call.
#pragma once

namespace orb::core {

// Runs fn(thread, size, context) on `size` threads at once (the caller is
// thread 0) and returns size: up to `want`, fewer when helpers could not be
// started, 1 when another call holds the team or the caller is inside an
// OpenMP parallel region. Every member runs while the others run, so the
// members may wait for each other.
int team_run(int want, void (*fn)(int thread, int size, void* context), void* context);

// The same with any callable: f(thread, size).
template <class F>
int team_run(int want, F& f) {
  return team_run(
      want, [](int thread, int size, void* context) { (*static_cast<F*>(context))(thread, size); }, &f);
}

}  // namespace orb::core
