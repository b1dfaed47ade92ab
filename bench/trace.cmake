find_package(spdlog REQUIRED)
target_link_libraries(bench_trace PRIVATE spdlog::spdlog)
