if(TARGET velmaro_app_window)
  find_package(Qt6 REQUIRED COMPONENTS Widgets)
  velmaro_benchmark(window SOURCES window_benchmark.cpp ROOMS app app/window
                    LIBRARIES Qt6::Widgets)
endif()
