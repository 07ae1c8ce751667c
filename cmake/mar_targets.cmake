# One target per folder. Each links mar_options, which carries the language level, the include root, the
# warnings and the sanitizers. Nothing is set globally, so the project can be a subproject.

add_library(mar_options INTERFACE)
target_compile_features(mar_options INTERFACE cxx_std_20)
target_include_directories(mar_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(mar_options INTERFACE _GNU_SOURCE)
target_compile_options(mar_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wformat=2 -Wundef -Wcast-align
  -Wimplicit-fallthrough
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Woverloaded-virtual -Wnon-virtual-dtor>
  # Clang 14 takes the 0 that a defaulted <=> is compared with for a null pointer.
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wzero-as-null-pointer-constant>
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
if(MAR_SANITIZE)
  # The checks of undefined behaviour take a large part of the time to compile templates. A target can name in
  # MAR_NO_CHECKS which of them to leave out; the libraries have them all.
  target_compile_options(mar_options INTERFACE
    -fsanitize=${MAR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    "$<$<BOOL:$<TARGET_PROPERTY:MAR_NO_CHECKS>>:-fno-sanitize=$<TARGET_PROPERTY:MAR_NO_CHECKS>>")
  target_link_options(mar_options INTERFACE -fsanitize=${MAR_SANITIZE})
else()
  # Hardened in every configuration, so that the tests run what is installed. Only optimised code can be
  # fortified. The prefix maps keep the build folder's name out of the binaries: their bytes are the same
  # wherever they are built.
  target_compile_options(mar_options INTERFACE
    -fstack-protector-strong
    "$<$<AND:$<CONFIG:Release,RelWithDebInfo,MinSizeRel>,$<NOT:$<BOOL:$<TARGET_PROPERTY:MAR_UNOPTIMISED>>>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>"
    -ffile-prefix-map=${PROJECT_BINARY_DIR}/=build/ -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
  target_link_options(mar_options INTERFACE -Wl,-z,relro,-z,now)
endif()
# Library code also goes into a shared library, so it is position-independent. So are the programs, except
# those linked with -static: they would have to relocate themselves at each start.
set_target_properties(mar_options PROPERTIES INTERFACE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# mar_joined(<target>): compiles its sources several at a time. Reading the headers of the option parser, the JSON
# library and GoogleTest takes longer than compiling what a source adds to them. No two of the sources may then define
# the same name, even in an anonymous namespace, and a missing include goes unnoticed. So each is also compiled by
# itself: the tools by the preset release, the tests by dev.
function(mar_joined target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON)
  # g++ takes a joined source for a header, where its warning would be right.
  target_compile_options(${target} PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-subobject-linkage>)
endfunction()
function(mar_joined_tool target)
  if(MAR_JOIN_TOOLS)
    mar_joined(${target})
  endif()
endfunction()

# For sources that mostly instantiate the templates of the option parser and the JSON library: their speed does
# not matter, and fully optimised, above all with sanitizers, they would take most of the time of a build.
set(mar_light_optimisation -O1)
if(MAR_SANITIZE)
  set(mar_light_optimisation -O0)
endif()

# The same for all sources of a program, without two checks. Without the one of null, AddressSanitizer reports the
# access.
function(mar_lightly_optimised target)
  set_target_properties(${target} PROPERTIES MAR_NO_CHECKS null,vptr)
  target_compile_options(${target} PRIVATE ${mar_light_optimisation})
endfunction()

find_package(Threads REQUIRED)

# mar_library(<folder> SOURCES <file>... [USES <lower folder>...]): the folder's static library, target
# mar_<folder>. Hidden visibility keeps its symbols inside the installed libraries, except those that a public
# header exports. Symbols of the binding "unique" cannot be hidden, so none are made.
function(mar_library folder)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;USES")
  add_library(mar_${folder} STATIC ${arg_SOURCES})
  set_target_properties(mar_${folder} PROPERTIES
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(mar_${folder} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
  list(TRANSFORM arg_USES PREPEND mar_)
  target_link_libraries(mar_${folder} PUBLIC mar_options ${arg_USES} Threads::Threads)
endfunction()
