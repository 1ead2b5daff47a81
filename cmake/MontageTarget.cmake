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
  if(MONTAGE_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${MONTAGE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
    target_link_options(${target} PRIVATE -fsanitize=${MONTAGE_SANITIZE})
  endif()
endfunction()
