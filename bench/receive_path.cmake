# The bench starts the real console.
add_dependencies(bench_receive_path zor_console)
target_compile_definitions(bench_receive_path PRIVATE ZOR_CONSOLE="$<TARGET_FILE:zor_console>")
