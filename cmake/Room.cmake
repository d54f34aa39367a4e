# A room is one folder of src/ and one target. What a room links is all that it can include:
# each room is published through an include root of its own, which holds nothing but a link
# to that folder, so that "osc/OSCManager.h" resolves only for targets that link velmaro_osc.
#
#   velmaro_room(osc SOURCES OSCManager.cpp ROOMS platform LIBRARIES Threads::Threads)
#
# ROOMS pass on to whoever links this room; USES stay its own.
# The target is velmaro_<name with / as _>. A room without sources is header-only.
function(velmaro_room name)
  cmake_parse_arguments(ROOM "" "" "SOURCES;ROOMS;USES;LIBRARIES" ${ARGN})
  string(REPLACE "/" "_" suffix ${name})
  set(target velmaro_${suffix})

  set(root ${CMAKE_BINARY_DIR}/rooms/${suffix})
  get_filename_component(parent ${root}/${name} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  file(CREATE_LINK ${CMAKE_SOURCE_DIR}/src/${name} ${root}/${name} SYMBOLIC)

  foreach(rooms ROOM_ROOMS ROOM_USES)
    list(TRANSFORM ${rooms} REPLACE "/" "_")
    list(TRANSFORM ${rooms} PREPEND velmaro_)
  endforeach()

  if(ROOM_SOURCES)
    add_library(${target} STATIC ${ROOM_SOURCES})
    target_include_directories(${target} PUBLIC ${root})
    target_link_libraries(${target} PUBLIC ${ROOM_ROOMS} PRIVATE velmaro_flags ${ROOM_USES} ${ROOM_LIBRARIES})
    velmaro_read_headers_once(${target} ${ROOM_LIBRARIES})
  else()
    add_library(${target} INTERFACE)
    target_include_directories(${target} INTERFACE ${root})
    target_link_libraries(${target} INTERFACE ${ROOM_ROOMS} ${ROOM_LIBRARIES})
  endif()
endfunction()

# The sanitizers' builds read the standard library's headers once for all rooms, in half the time, and
# by their presets several files of a room as one, which halves the rest.
# The other builds show that every file includes what it needs.
set(VELMARO_STANDARD_HEADERS
  <algorithm> <any> <array> <atomic> <chrono> <condition_variable> <filesystem> <functional>
  <iostream> <map> <memory> <mutex> <optional> <span> <string> <string_view> <thread> <variant>
  <vector>)
function(velmaro_read_headers_once target)
  if(NOT VELMARO_SANITIZE)
    return()
  endif()
  if("velmaro_frame_flags" IN_LIST ARGN)
    # Optimised otherwise, so that another's headers would not match.
    target_precompile_headers(${target} PRIVATE ${VELMARO_STANDARD_HEADERS})
    return()
  endif()
  if(NOT TARGET velmaro_standard_headers)
    set(source ${CMAKE_BINARY_DIR}/standard_headers.cpp)
    file(CONFIGURE OUTPUT ${source} CONTENT "")
    add_library(velmaro_standard_headers STATIC ${source})
    target_link_libraries(velmaro_standard_headers PRIVATE velmaro_flags)
    target_compile_options(velmaro_standard_headers PRIVATE -pthread)
    target_precompile_headers(velmaro_standard_headers PRIVATE ${VELMARO_STANDARD_HEADERS})
  endif()
  target_compile_options(${target} PRIVATE -pthread)
  target_precompile_headers(${target} REUSE_FROM velmaro_standard_headers)
endfunction()
