# Needs a session with a virtual camera, which live_cameras.py makes.
velmaro_benchmark(live SOURCES live_benchmark.cpp ROOMS backends/cameras backends/queues)
target_include_directories(benchmark_live PRIVATE ${CMAKE_SOURCE_DIR}/tests)
