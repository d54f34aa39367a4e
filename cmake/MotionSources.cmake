# velmaro_motion_sources(velmaro_app_linux hid udp): makes these, in this order, the sources of
# headphone motion of a target. Each is a folder src/backends/NAME whose MotionSource.h declares
#   const MotionSource& NAMEMotionSource();
function(velmaro_motion_sources target)
  list(LENGTH ARGN count)
  set(includes "")
  set(calls "")
  foreach(source ${ARGN})
    string(APPEND includes "#include \"backends/${source}/MotionSource.h\"\n")
    string(APPEND calls "&${source}MotionSource(), ")
    target_link_libraries(${target} PRIVATE velmaro_backends_${source})
  endforeach()
  set(file ${CMAKE_CURRENT_BINARY_DIR}/${target}_motion_sources.cpp)
  file(CONFIGURE OUTPUT ${file} CONTENT [[
#include <array>

@includes@
namespace velmaro {

MotionSources motionSources() {
    static const std::array<const MotionSource*, @count@> sources{@calls@};
    return sources;
}

}  // namespace velmaro
]] @ONLY)
  target_sources(${target} PRIVATE ${file})
endfunction()
