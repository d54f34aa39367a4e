# The portrait that face tests and benchmarks look at: Grace Hopper, a work of the U.S. Navy in the
# public domain, out of Debian's python-matplotlib-data, turned into a pixmap by djpeg.
include_guard(GLOBAL)

find_file(VELMARO_PORTRAIT_JPEG grace_hopper.jpg REQUIRED
  PATHS /usr/share/matplotlib/mpl-data/sample_data NO_DEFAULT_PATH
  DOC "A portrait: install python-matplotlib-data")
find_program(DJPEG djpeg REQUIRED DOC "Part of libjpeg-turbo-progs")
mark_as_advanced(VELMARO_PORTRAIT_JPEG DJPEG)

set(portrait ${CMAKE_BINARY_DIR}/portrait.ppm)
add_custom_command(OUTPUT ${portrait}
  COMMAND ${DJPEG} -pnm -dct int -outfile ${portrait} ${VELMARO_PORTRAIT_JPEG}
  DEPENDS ${VELMARO_PORTRAIT_JPEG} VERBATIM)
add_custom_target(velmaro_portrait_picture DEPENDS ${portrait})

# Links the path of the picture, the folder of the models and "backends/facemesh/Portrait.h".
add_library(velmaro_portrait STATIC ${CMAKE_SOURCE_DIR}/tests/backends/facemesh/Portrait.cpp)
add_dependencies(velmaro_portrait velmaro_portrait_picture)
target_include_directories(velmaro_portrait PUBLIC ${CMAKE_SOURCE_DIR}/tests)
target_compile_definitions(velmaro_portrait PUBLIC
  VELMARO_PORTRAIT="${portrait}" VELMARO_MODELS_DIR="${VELMARO_MODELS_DIR}")
target_link_libraries(velmaro_portrait PUBLIC velmaro_platform
                                       PRIVATE velmaro_flags velmaro_frame_flags)
