"""A wrong row in the description of the wire, or in a constant table of the library, does not compile."""
import argparse
import pathlib
import shutil
import subprocess
import sys
import tempfile

# The file, a text in it, the wrong text in its place, and the source that holds the check.
CONVERT, SENSOR, BOARD = (f"src/comm/orva_{name}.cpp" for name in
                          ("comm_convert", "tlv_sensor_comm_sensor", "tlv_sensor_comm_board"))
WRONG = [
    ("wire/wire_messages.h", ".offset = 840", ".offset = 838", CONVERT),  # overlaps the array before it
    ("wire/wire_messages.h", '.count = "vlt_count"', '.count = "volt_count"', CONVERT),
    ("wire/wire_messages.h", "ORVA_AGENT_ChgVltInfoMsgToHost, kHost", "ORVA_AGENT_ChgVltInfoMsgToHost, kNet", CONVERT),
    ("wire/wire_records.h", "OrvaTempSensorCfg, 5, chipIndex", "OrvaTempSensorCfg, 6, chipIndex", SENSOR),
    ("wire/wire_records.h", "OrvaVltSensorCfg, 20, extra3", "OrvaVltSensorCfg, 20, extra2", SENSOR),
    ("wire/wire_records.h", "OrvaDelayPowerOn, 4, delayFlag", "OrvaDelayPowerOn, 3, delayFlag", BOARD),
    ("src/comm/orva_tlv_sensor_comm_sensor.cpp", "ORVA_SYNC_ASSERT_TABLE(g_orvaFmeaSyncDataDes, OrvaVltSensorCfg, 1,",
     "ORVA_SYNC_ASSERT_TABLE(g_orvaFmeaSyncDataDes, OrvaVltSensorCfg, 2,", SENSOR),
    ("src/comm/board_port_table.h", "late_bond(0x10011), ", "", "src/comm/orva_drvadp_comm_port.cpp"),
    ("src/comm/board_port_table.h", "late_bond(0x10012)", "late_bond(0x10011)", "src/comm/orva_drvadp_comm_port.cpp"),
    ("src/comm/orva_api_log.cpp", '{0x29, "battery"}', '{0x2A, "battery"}', "src/comm/orva_api_log.cpp"),
    ("src/comm/orva_api_log.cpp", '"type end"', '""', "src/comm/orva_api_log.cpp"),
    ("src/comm/orva_api_stub.cpp", '"pmCable"', '""', "src/comm/orva_api_stub.cpp"),
    ("src/comm/orva_api_stub.cpp", '"opticalAlm"', '"pmCable"', "src/comm/orva_api_stub.cpp"),
]


def compile_source(cxx, root, source):
    return subprocess.run([cxx, "-std=c++20", "-D_GNU_SOURCE", "-DORVA_BUILDING_LIBRARY", "-fsyntax-only",
                           *(f"-I{root / room}" for room in ("include", "platform/include", "wire", "src/comm")),
                           str(root / source)], text=True, capture_output=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--root", required=True)
    parser.add_argument("--cxx", required=True)
    args = parser.parse_args()
    root = pathlib.Path(args.root)
    bad = 0
    with tempfile.TemporaryDirectory(prefix="orva_rows_") as scratch:
        copy = pathlib.Path(scratch)
        for room in ("include", "platform/include", "wire", "src/comm"):
            shutil.copytree(root / room, copy / room)
        for name, right, wrong, source in WRONG:
            path = copy / name
            text = path.read_text()
            if text.count(right) != 1:
                sys.exit(f"{name} has {right!r} {text.count(right)} times")
            path.write_text(text.replace(right, wrong))
            result = compile_source(args.cxx, copy, source)
            path.write_text(text)
            if result.returncode == 0 or "static assertion failed" not in result.stderr.replace("_", " "):
                bad += 1
                print(f"{name}: {wrong!r} compiles, or fails for another reason:\n{result.stderr}")
    print(f"{len(WRONG)} wrong rows, {bad} accepted")
    return 1 if bad else 0


sys.exit(main())
