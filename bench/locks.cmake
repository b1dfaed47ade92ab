# A library mutex with its dead-lock detection on, and std::recursive_mutex under ThreadSanitizer's
# detector, which needs a program of its own.
find_package(absl REQUIRED)
target_link_libraries(bench_locks PRIVATE absl::synchronization)

add_executable(bench_locks_tsan ${CMAKE_CURRENT_LIST_DIR}/locks_tsan.cpp)
target_compile_options(bench_locks_tsan PRIVATE -fsanitize=thread)
target_link_options(bench_locks_tsan PRIVATE -fsanitize=thread)
target_link_libraries(bench_locks_tsan PRIVATE benchmark::benchmark Threads::Threads)
zor_warnings(bench_locks_tsan)
