# The libraries that other programs link: shared and static, headers, CMake package, .pc file.
#
# What a public header declares between its visibility pragmas is exported, and nothing else: everything is
# compiled with hidden visibility. So a header and its library cannot disagree, and a class is exported with all
# that its users' code refers to. The version scripts only name the version and keep the C++ library's templates
# inside.
include(CMakePackageConfigHelpers)

set(mar_package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/mar)
# The static libraries need these, and a C program's linker does not add them by itself.
set(mar_private_libraries stdc++ m pthread)

# mar_public_headers(<library>): writes the library's public headers into the build's include/mar, with their
# includes of each other spelled <mar/...>, and installs them from there. Programs see them under that folder
# only, so a program's own contract/policy.h cannot replace ours. Makes the target mar<library>_headers.
function(mar_public_headers library)
  set(list ${PROJECT_SOURCE_DIR}/cmake/public_headers)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
  file(STRINGS ${list} rows REGEX "^${library} ")
  foreach(row IN LISTS rows)
    string(REGEX REPLACE ".* " "" header ${row})
    cmake_path(GET header PARENT_PATH folder)
    set(written ${PROJECT_BINARY_DIR}/include/mar/${header})
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include/mar/${folder})
    add_custom_command(OUTPUT ${written}
      COMMAND sed "s|^#include \"\\(.*\\)\"|#include <mar/\\1>|" ${PROJECT_SOURCE_DIR}/${header} > ${written}
      DEPENDS ${PROJECT_SOURCE_DIR}/${header} VERBATIM)
    list(APPEND all_written ${written})
    install(FILES ${written} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mar/${folder}
      COMPONENT ${library}_development)
  endforeach()
  add_custom_target(mar${library}_headers DEPENDS ${all_written})
endfunction()

# mar_installed_library(<library> FOLDERS <folder>... DESCRIPTION <line> [USES <other such library>]): targets
# mar<library> and mar<library>_static, for programs mar::<library> and mar::<library>_static, made of the
# objects of the folders' targets. The folder of the caller holds the version script.
function(mar_installed_library library)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "DESCRIPTION;USES" "FOLDERS")
  set(name mar${library})
  mar_public_headers(${library})
  list(TRANSFORM arg_FOLDERS REPLACE "(.+)" "$<TARGET_OBJECTS:mar_\\1>" OUTPUT_VARIABLE objects)

  # Calls between functions of the library stay inside, whatever a program calls its own functions. The path on
  # which the build's library finds the other one is relative: an absolute one, though gone from what is
  # installed, would leave the length of the build folder's name in its bytes.
  set(version_script ${CMAKE_CURRENT_SOURCE_DIR}/${name}.map)
  add_library(${name} SHARED ${objects})
  target_link_libraries(${name} PRIVATE mar_options Threads::Threads)
  target_link_options(${name} PRIVATE
    -Wl,--no-undefined -Wl,-Bsymbolic-functions -Wl,--version-script=${version_script})
  set_target_properties(${name} PROPERTIES
    LINKER_LANGUAGE CXX
    EXPORT_NAME ${library}
    BUILD_RPATH_USE_ORIGIN ON
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${version_script})

  # The static library is a single object whose hidden symbols are local, and so are the C++ library's
  # templates: our "pid" or "get_command" cannot clash with a program's own.
  add_executable(${name}_object ${objects})
  target_link_libraries(${name}_object PRIVATE mar_options)
  target_link_options(${name}_object PRIVATE -r -nostdlib -Wl,--force-group-allocation)
  set_target_properties(${name}_object PROPERTIES LINKER_LANGUAGE CXX OUTPUT_NAME ${name} SUFFIX .o)
  add_custom_command(TARGET ${name}_object POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --localize-hidden --wildcard
      --localize-symbol=_ZSt* --localize-symbol=_ZNSt* --localize-symbol=_ZNKSt* --localize-symbol=_ZT?St* --localize-symbol=_ZZNSt*
      $<TARGET_FILE:${name}_object>
    VERBATIM)
  set(object ${CMAKE_CURRENT_BINARY_DIR}/${name}.o)
  set_source_files_properties(${object} PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)
  add_library(${name}_static STATIC ${object})
  add_dependencies(${name}_static ${name}_object)
  # Declared as C although the code is C++: the C++ libraries are named above, so a program in C alone can link
  # it.
  set_target_properties(${name}_static PROPERTIES
    EXPORT_NAME ${library}_static OUTPUT_NAME ${name} LINKER_LANGUAGE C)
  target_link_libraries(${name}_static INTERFACE ${mar_private_libraries})
  if(arg_USES)
    target_link_libraries(${name} PRIVATE mar${arg_USES})
    target_link_libraries(${name}_static INTERFACE mar${arg_USES}_static)
    add_dependencies(${name}_headers mar${arg_USES}_headers)
  endif()

  foreach(suffix "" _static)
    add_library(mar::${library}${suffix} ALIAS ${name}${suffix})
    target_include_directories(${name}${suffix} INTERFACE
      $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    add_dependencies(${name}${suffix} ${name}_headers)
  endforeach()

  install(TARGETS ${name} ${name}_static EXPORT ${name}
    LIBRARY COMPONENT ${library}_library NAMELINK_COMPONENT ${library}_development
    ARCHIVE COMPONENT ${library}_development)
  install(EXPORT ${name} FILE mar-${library}.cmake NAMESPACE mar::
    DESTINATION ${mar_package_directory} COMPONENT ${library}_development)

  # The installed tree can be moved: the .pc file derives its prefix from its own location.
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
    BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE prefix_from_pc)
  list(TRANSFORM mar_private_libraries PREPEND -l OUTPUT_VARIABLE private_flags)
  list(JOIN private_flags " " private_flags)
  list(TRANSFORM arg_USES PREPEND mar OUTPUT_VARIABLE requires)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/mar_library.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${library}_development)
endfunction()
