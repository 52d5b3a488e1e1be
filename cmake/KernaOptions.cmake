# Warning and sanitizer flags shared by every target of the project.
add_library(kerna_flags INTERFACE)
target_compile_options(kerna_flags INTERFACE -Wall -Wextra -Wshadow -Wnon-virtual-dtor)
if(KERNA_WERROR)
  target_compile_options(kerna_flags INTERFACE -Werror)
endif()

if(KERNA_SANITIZE)
  string(REPLACE ";" "," _kerna_san "${KERNA_SANITIZE}")
  add_compile_options(-fsanitize=${_kerna_san} -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=${_kerna_san})
  if(_kerna_san MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()

find_package(Threads REQUIRED)

if(KERNA_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "KERNA_BUILD_FUZZ needs clang (use the 'fuzz' preset)")
  endif()
  # Library code is instrumented for coverage; the fuzz targets add the libFuzzer main.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
