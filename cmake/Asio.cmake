# Asio without Boost, in the same way for every room that uses it.
function(velmaro_use_asio target)
  target_compile_definitions(${target} PRIVATE
    ASIO_STANDALONE
    ASIO_NO_DEPRECATED
    # Asio 1.22 looks for std::aligned_alloc before it has included a standard header, so that the
    # answer, and with it how memory is freed, would depend on the order of includes in each file.
    ASIO_DISABLE_STD_ALIGNED_ALLOC)
endfunction()
