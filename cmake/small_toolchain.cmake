# t1 for a quick start: more than half of its life in a static program of glibc is that library's own start. Needs
# clang, libc++-dev for its headers and musl-dev. No C++ library is linked: cli/static_malloc.cc has the few
# functions of it that are called. One of the hardenings has no effect: musl has no fortified functions.
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(musl ${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-musl)
set(CMAKE_C_COMPILER_TARGET ${musl})
set(CMAKE_CXX_COMPILER_TARGET ${musl})

execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-resource-dir
  OUTPUT_VARIABLE clang_directory OUTPUT_STRIP_TRAILING_WHITESPACE)
cmake_path(SET libcxx_headers NORMALIZE "${clang_directory}/../../../include/c++/v1")
if(NOT EXISTS ${libcxx_headers}/__config OR NOT EXISTS /usr/lib/${musl}/rcrt1.o)
  message(FATAL_ERROR "The small t1 needs the packages clang, libc++-dev and musl-dev")
endif()

# Sections, so that the linker drops what t1 does not use. Nothing throws and nothing unwinds: t1 cancels no thread.
set(CMAKE_C_FLAGS_INIT "-nostdlibinc -isystem /usr/include/${musl}")
set(CMAKE_CXX_FLAGS_INIT "-nostdlibinc -isystem ${libcxx_headers} -isystem /usr/include/${musl} \
-D_LIBCPP_HAS_MUSL_LIBC -fno-exceptions -fno-rtti -fno-asynchronous-unwind-tables \
-ffunction-sections -fdata-sections")
# What musl lacks. Its strerror keeps no buffer and translates nothing, as strerrordesc_np does; the number is the
# kernel's.
string(APPEND CMAKE_CXX_FLAGS_INIT " -Dstrerrordesc_np=strerror -DMADV_POPULATE_READ=22")

# Position-independent although static. The number of musl's first thread is an address in the program, and the
# queue tells clients apart by it: at a fixed address all of them would have the same number, and two clients in
# process namespaces of their own could have the same process id too.
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-static-pie -nostdlib++ -B/usr/lib/${musl} -L/usr/lib/${musl} -Wl,--gc-sections \
-Qunused-arguments")  # the compiler's flags are on this command line too
