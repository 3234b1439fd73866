# The TLV codec's peer: its message code is generated here and built as C without our warnings.
find_package(nanopb REQUIRED)
find_program(PROTOC_PROGRAM protoc REQUIRED)
find_path(NANOPB_PROTO_DIR nanopb.proto PATHS /usr/lib/python3/dist-packages/proto REQUIRED)
add_custom_command(
  OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/tlv_record.pb.c ${CMAKE_CURRENT_BINARY_DIR}/tlv_record.pb.h
  COMMAND ${PROTOC_PROGRAM} -I ${CMAKE_CURRENT_SOURCE_DIR} -I ${NANOPB_PROTO_DIR}
    --nanopb_out=${CMAKE_CURRENT_BINARY_DIR} tlv_record.proto
  DEPENDS tlv_record.proto VERBATIM)
add_library(orva_bench_tlv_peer STATIC ${CMAKE_CURRENT_BINARY_DIR}/tlv_record.pb.c)
target_include_directories(orva_bench_tlv_peer SYSTEM PUBLIC ${CMAKE_CURRENT_BINARY_DIR})
target_link_libraries(orva_bench_tlv_peer PUBLIC nanopb::protobuf-nanopb-static)
target_link_libraries(orva_bench_tlv PRIVATE orva_bench_tlv_peer)
