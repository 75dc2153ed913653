// The fixed twiddle table of the power-of-two door: the quarter-wave sine
// table of order 10, which the kernels read for orders up to 10 instead
// of computing one per plan. Filled once when the core loads.
#include "dft/signal/fft_base_table.hpp"

extern "C" {
__attribute__((visibility("default"))) double orb_dft_fft_fix_twiddle_table_64f[257];
__attribute__((visibility("default"))) float orb_dft_fft_fix_twiddle_table_32f[257];
}

namespace {
struct fill_fixed_tables {
  fill_fixed_tables() {
    orb::dft::fft::fill_quarter_sine(orb_dft_fft_fix_twiddle_table_64f, 1024);
    orb::dft::fft::fill_quarter_sine(orb_dft_fft_fix_twiddle_table_32f, 1024);
  }
} const fill_at_load;
}  // namespace
