include(Portrait)
# A program of its own: what it prints is more than times.
add_executable(benchmark_faces faces/faces.cpp faces/Scene.cpp)
target_link_libraries(benchmark_faces PRIVATE velmaro_flags velmaro_backends_facemesh
                                              velmaro_portrait)
