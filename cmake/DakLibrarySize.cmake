# Size options of the library: it is loaded into the TV's service process on
# a set with little memory, so its stripped file is kept small (ci/check-
# size.sh holds the limits). Code is optimised for size, but for the sources
# named hot, which keep -O2 off the set; sections per function and data
# object let the linker drop what nothing uses; identical code is folded
# where the linker can (gold); the load segments are not padded to separate
# pages. Unwind tables stay: allocation failures propagate as exceptions.
include(CheckLinkerFlag)

# dak_limit_size(TARGET HOT_SOURCE...)
function(dak_limit_size target)
  target_compile_options(${target} PRIVATE -Os -ffunction-sections -fdata-sections)
  # On the set (ARM) the size limit is the tighter one: every source is
  # optimised for size there.
  if(ARGN AND NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^(arm|ARM)")
    set_source_files_properties(${ARGN} TARGET_DIRECTORY ${target}
      PROPERTIES COMPILE_OPTIONS "-O2")
  endif()
  target_link_options(${target} PRIVATE -Wl,--gc-sections -Wl,-O1)
  # gold folds identical code (where no address is taken) and lays its segments out unpadded; the
  # default linker is told not to pad them.
  check_linker_flag(CXX "-fuse-ld=gold;-Wl,--icf=safe" DAK_LD_GOLD_ICF)
  check_linker_flag(CXX "-Wl,-z,noseparate-code" DAK_LD_NOSEPARATE_CODE)
  if(DAK_LD_GOLD_ICF)
    target_link_options(${target} PRIVATE -fuse-ld=gold -Wl,--icf=safe)
  elseif(DAK_LD_NOSEPARATE_CODE)
    target_link_options(${target} PRIVATE -Wl,-z,noseparate-code)
  endif()
endfunction()
