pkg_check_modules(LIBLO REQUIRED IMPORTED_TARGET liblo)
find_library(OSCPACK oscpack REQUIRED)

velmaro_benchmark(osc
  SOURCES osc/encode_benchmark.cpp osc/send_benchmark.cpp
  ROOMS osc backends/net backends/queues
  LIBRARIES PkgConfig::LIBLO ${OSCPACK})
