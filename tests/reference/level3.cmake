# Level 3: the Fortran and the CBLAS test programs of each type, with the
# inputs Debian ships beside them (error exits on), and again with inputs of
# ours whose sizes cross the register tiles, the small-size paths and the
# complex diagonal block, up to 65, the largest the programs hold. Every
# call of these programs is checked by an O(n^3) loop of theirs, so the
# sizes are few: one below, at and above a tile, then one past each power
# of two.
foreach(t s d c z)
  orb_reference_test(xblat3${t} level23 INPUT ${t}blat3.in)
  orb_reference_test(x${t}cblat3 level23 INPUT ${t}in3)
  orb_reference_test(xblat3${t} level23 INPUT tests/reference/${t}blat3_sizes.in NAME xblat3${t}_sizes)
  orb_reference_test(x${t}cblat3 level23 INPUT tests/reference/${t}in3_sizes NAME x${t}cblat3_sizes)
endforeach()
