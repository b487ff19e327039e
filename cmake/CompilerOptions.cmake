# Warnings, visibility and sanitizer settings shared by every target.

add_compile_options(-Wall -Wextra)
# Log lines and guards name their source file; keep those names relative so
# that they do not depend on where the tree was checked out.
add_compile_options("-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")

if(ARX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

if(ARX_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "ARX_FUZZ needs clang (CC=clang CXX=clang++)")
  endif()
  # Coverage for libFuzzer everywhere; the fuzzer's main is linked only into
  # the fuzz targets.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# Options for the object targets that make up a shared library: hidden
# symbols unless exported through the export macro.
function(arx_library_options target)
  set_target_properties(${target} PROPERTIES
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# Options for the shared libraries themselves: no undefined symbols left for
# the program to supply, only the libraries actually used recorded, and a
# library's calls to its own functions bound when it is linked rather than
# looked up by the loader in every process (a CGI process pays for each
# lookup; programs and tests still interpose between libraries).
#
# Imports are bound at load time (-z now), so the relocated tables become
# read-only (full RELRO); code lives in segments of its own, away from the
# headers and read-only data (separate code, the linker's default).  Both
# cost a CGI process some microseconds (docs/benchmarks.md); the libraries
# run as root and parse untrusted input, and the hardening is worth it.
function(arx_shared_library_options target)
  if(NOT ARX_SANITIZE AND NOT ARX_FUZZ)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
  target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,-O1 -Wl,-Bsymbolic-functions
                      -Wl,-z,now -Wl,-z,relro
                      -Wl,-z,separate-code)
endfunction()
