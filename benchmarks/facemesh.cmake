include(Portrait)
velmaro_benchmark(facemesh SOURCES facemesh_benchmark.cpp ROOMS backends/facemesh
                  LIBRARIES velmaro_portrait)
