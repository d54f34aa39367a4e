if(TARGET velmaro_app_window)
  velmaro_benchmark(window SOURCES window_benchmark.cpp ROOMS app app/window
                    LIBRARIES Qt6::Widgets)
endif()
