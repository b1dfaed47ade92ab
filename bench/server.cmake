# The bench runs the server side of zor_sim in a process of its own.
target_link_libraries(bench_server PRIVATE zor_sim_core)
