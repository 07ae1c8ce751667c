# One target per folder. Every target of ours links mar_options, which carries the language level, the include
# root, the warnings and the sanitizers; nothing is set globally, so the project can be a subproject.

add_library(mar_options INTERFACE)
target_compile_features(mar_options INTERFACE cxx_std_20)
target_include_directories(mar_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(mar_options INTERFACE _GNU_SOURCE)
target_compile_options(mar_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wformat=2 -Wundef -Wcast-align
  -Wimplicit-fallthrough
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Woverloaded-virtual -Wnon-virtual-dtor -Wzero-as-null-pointer-constant>
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op>)
if(MAR_SANITIZE)
  target_compile_options(mar_options INTERFACE
    -fsanitize=${MAR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(mar_options INTERFACE -fsanitize=${MAR_SANITIZE})
endif()

find_package(Threads REQUIRED)

# mar_library(<folder> SOURCES <file>... [USES <lower folder>...]): the folder's static library, target mar_<folder>.
function(mar_library folder)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;USES")
  add_library(mar_${folder} STATIC ${arg_SOURCES})
  list(TRANSFORM arg_USES PREPEND mar_)
  target_link_libraries(mar_${folder} PUBLIC mar_options ${arg_USES} Threads::Threads)
endfunction()
