# One interface target that carries the flags of every target of ours.
include(CheckPIESupported)
check_pie_supported()

add_library(velmaro_flags INTERFACE)
target_compile_options(velmaro_flags INTERFACE
  -Wall -Wextra -Wpedantic
  # Fused multiply-add would change the last bit of results that are fixed to the bit.
  -ffp-contract=off
  # Libraries' macros put a file's name into the program, which is to be the same wherever it is built.
  $<$<CONFIG:Release>:-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=>
  $<$<BOOL:${VELMARO_WARNINGS_AS_ERRORS}>:-Werror>)

if(VELMARO_SANITIZE)
  target_compile_options(velmaro_flags INTERFACE
    -fsanitize=${VELMARO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O0 -g1)
  target_link_options(velmaro_flags INTERFACE -fsanitize=${VELMARO_SANITIZE})
  # Compilers differ in how they tell the code.
  target_compile_definitions(velmaro_flags INTERFACE VELMARO_SANITIZED)
endif()

# What only tests run is linked in a tenth of the time; what users run, by the compiler's own linker.
if(NOT CMAKE_CROSSCOMPILING)
  find_program(MOLD mold DOC "A fast linker")
  mark_as_advanced(MOLD)
endif()
if(MOLD AND VELMARO_SANITIZE)
  target_link_options(velmaro_flags INTERFACE -fuse-ld=mold)
endif()

if(VELMARO_COVERAGE)
  # Programs of several threads count too, if slowly.
  target_compile_options(velmaro_flags INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(velmaro_flags INTERFACE --coverage)
endif()

# What works on whole frames, which would take too long unoptimised under the sanitizers. Linked after
# velmaro_flags, so that this level holds.
add_library(velmaro_frame_flags INTERFACE)
if(VELMARO_SANITIZE)
  target_compile_options(velmaro_frame_flags INTERFACE -O2)
endif()

# Tests are compiled for quick building: the heavy templates of GoogleMock take most of a build's
# time, and no speed is measured in them. Fortified functions would need an optimisation level.
# Linked after velmaro_flags, so that these hold.
add_library(velmaro_test_flags INTERFACE)
target_compile_options(velmaro_test_flags INTERFACE
  -pthread $<$<CONFIG:Release>:-O0> $<$<CONFIG:Release>:-U_FORTIFY_SOURCE>)
if(MOLD)
  target_link_options(velmaro_test_flags INTERFACE -fuse-ld=mold)
endif()
if(VELMARO_SANITIZE MATCHES undefined)
  # A third of the time again; the address sanitizer sees most of what these find.
  target_compile_options(velmaro_test_flags INTERFACE -fno-sanitize=null,alignment,object-size,vptr)
endif()

# libFuzzer steers by the coverage of what it calls; its own entry comes with the fuzzers' link.
if(VELMARO_FUZZ)
  set(fuzz_flags -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -O1)
  target_compile_options(velmaro_flags INTERFACE ${fuzz_flags})
  target_link_options(velmaro_flags INTERFACE -fsanitize=address,undefined)
endif()

# GCC 12 sees overlapping copies in the concatenation of strings where there are none (GCC bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(velmaro_flags INTERFACE -Wno-restrict)
endif()

# Where several files are compiled as one, GCC takes them for headers of it.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_UNITY_BUILD)
  target_compile_options(velmaro_flags INTERFACE -Wno-subobject-linkage)
endif()

# Hardening belongs to what users run; under the sanitizers fortified functions hide overflows.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(branch_protection -mbranch-protection=standard)
else()
  set(branch_protection -fcf-protection)
endif()
target_compile_options(velmaro_flags INTERFACE
  $<$<CONFIG:Release>:-fstack-protector-strong -fstack-clash-protection ${branch_protection}>)
target_compile_definitions(velmaro_flags INTERFACE
  $<$<CONFIG:Release>:_FORTIFY_SOURCE=2 _GLIBCXX_ASSERTIONS>)
target_link_options(velmaro_flags INTERFACE
  $<$<CONFIG:Release>:-Wl,-z,relro,-z,now,-z,noexecstack,--as-needed>)
