# The warnings that every target of this project builds without; the presets make them errors.
function(zor_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                           -Woverloaded-virtual -Wold-style-cast -Wcast-qual -Wformat=2)
endfunction()
