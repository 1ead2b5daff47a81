# Hardening of what is released on Linux. Some compilers ask for fortified calls by themselves.
include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_FLAGS -O2)
check_cxx_source_compiles("
#ifdef _FORTIFY_SOURCE
#error defined already
#endif
int main() {}" MONTAGE_NEEDS_FORTIFY_SOURCE)
unset(CMAKE_REQUIRED_FLAGS)

# Addresses of functions are fixed before the program starts, stacks are guarded, and calls that
# write into buffers of known size are checked.
function(montage_harden target)
  target_compile_options(${target} PRIVATE -fstack-protector-strong)
  target_link_options(${target} PRIVATE LINKER:-z,relro,-z,now)
  if(MONTAGE_NEEDS_FORTIFY_SOURCE)
    target_compile_definitions(${target} PRIVATE
      $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:_FORTIFY_SOURCE=2>)
  endif()
endfunction()

# Settings shared by every target of the project.
function(montage_configure target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /fp:precise $<$<BOOL:${MONTAGE_WERROR}>:/WX>)
    return()
  endif()
  # Contraction off: a fused multiply-add would make results depend on the machine.
  # Prefix map: the texts of exceptions name source files, and not the folder they were built in.
  target_compile_options(${target} PRIVATE
    -ffp-contract=off -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast
    $<$<BOOL:${MONTAGE_WERROR}>:-Werror>)
  if(MONTAGE_PLAIN_THREADS)
    target_compile_definitions(${target} PRIVATE MONTAGE_PLAIN_THREADS)
  endif()
  if(MONTAGE_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${MONTAGE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1
      $<$<BOOL:${MONTAGE_FUZZ}>:-fsanitize=fuzzer-no-link>)
    target_link_options(${target} PRIVATE -fsanitize=${MONTAGE_SANITIZE})
  elseif(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    montage_harden(${target})
  endif()
endfunction()
