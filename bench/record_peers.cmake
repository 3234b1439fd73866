# The temperature record's peers: protobuf-c's message code is generated here and built as C without our warnings.
find_program(PROTOC_C_PROGRAM protoc-c REQUIRED)
pkg_check_modules(bench_record_peers REQUIRED IMPORTED_TARGET libprotobuf-c msgpack)
add_custom_command(
  OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/temp_record.pb-c.c ${CMAKE_CURRENT_BINARY_DIR}/temp_record.pb-c.h
  COMMAND ${PROTOC_C_PROGRAM} -I ${CMAKE_CURRENT_SOURCE_DIR} --c_out=${CMAKE_CURRENT_BINARY_DIR} temp_record.proto
  DEPENDS temp_record.proto VERBATIM)
add_library(orva_bench_record_peers STATIC ${CMAKE_CURRENT_BINARY_DIR}/temp_record.pb-c.c)
target_include_directories(orva_bench_record_peers SYSTEM PUBLIC ${CMAKE_CURRENT_BINARY_DIR})
target_link_libraries(orva_bench_record_peers PUBLIC PkgConfig::bench_record_peers)
target_link_libraries(orva_bench_record PRIVATE orva_bench_record_peers)
