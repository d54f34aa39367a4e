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
  else()
    add_library(${target} INTERFACE)
    target_include_directories(${target} INTERFACE ${root})
    target_link_libraries(${target} INTERFACE ${ROOM_ROOMS} ${ROOM_LIBRARIES})
  endif()
endfunction()
