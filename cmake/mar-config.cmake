# find_package(mar [VERSION] [COMPONENTS runtime client]): targets mar::runtime and mar::client, shared, and
# mar::runtime_static and mar::client_static. Without COMPONENTS it finds what is installed.
if(NOT mar_FIND_COMPONENTS)
  set(mar_FIND_COMPONENTS runtime client)
endif()
foreach(component runtime ${mar_FIND_COMPONENTS})  # all others need the first
  include(${CMAKE_CURRENT_LIST_DIR}/mar-${component}.cmake OPTIONAL RESULT_VARIABLE mar_${component}_FOUND)
  if(mar_FIND_REQUIRED_${component} AND NOT mar_${component}_FOUND)
    set(mar_FOUND FALSE)
    set(mar_NOT_FOUND_MESSAGE "its component ${component} is not installed, or there is none of that name")
  endif()
endforeach()
