/* Nothing lives here: the BLAS symbols come from liborb_core.so.2, which this
   library needs. The one symbol keeps the linker from dropping that need. */
extern int orb_kernel_level(void);
int orb_blas_shim_level(void) { return orb_kernel_level(); }
