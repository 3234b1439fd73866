"""Who may include whom, and no circles among headers."""
import argparse
import pathlib
import re
import sys

SOURCES = (".h", ".hpp", ".c", ".cpp", ".inc")


def quoted_includes(path):
    return re.findall(r'^\s*#\s*include\s+"([^"]+)"', path.read_text(errors="replace"), flags=re.M)


def files_of(root, room):
    base = root / room
    return [p for p in sorted(base.rglob("*")) if p.suffix in SOURCES] if base.exists() else []


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--root", required=True)
    root = pathlib.Path(parser.parse_args().root)
    rooms = {room: files_of(root, room) for room in
             ("include", "wire", "platform/include", "platform/host", "src/comm", "capture", "command_line", "chassis", "tools", "bench", "testing",
              "tests")}
    by_name = {room: {p.name: p for p in paths} for room, paths in rooms.items()}
    public, platform = set(by_name["include"]), set(by_name["platform/include"])
    wire, captures = set(by_name["wire"]), set(by_name["capture"])
    shared = captures | set(by_name["command_line"])
    internal = {name for name in by_name["src/comm"] if name.endswith(".h")}
    # Host-only start-up calls are a public face of the host platform.
    host_public = {name for name in by_name["platform/host"] if name.endswith("_host.h") or name == "miro_host_clock.h"}
    host_public.add("toml_places.h")  # one way of reading TOML for all
    allowed = {
        "platform/include": platform,
        "include": public | platform,
        "wire": public,
        "src/comm": public | platform | wire | internal,
        "platform/host": platform,
        "capture": set(),
        "command_line": set(),
        "chassis": public | platform | wire | host_public | shared,
        "tools": public | platform | wire | host_public | shared,
        "bench": public | platform | wire | host_public,
        "testing": public | platform,
    }
    bad = 0
    checked = 0
    for room, names in allowed.items():
        for path in rooms[room]:
            own = {p.name for p in rooms[room]} if room not in ("include", "platform/include") else set()
            for include in quoted_includes(path):
                checked += 1
                name = pathlib.PurePath(include).name
                if name not in names and name not in own and not (path.parent / include).exists():
                    known = [r for r in by_name if name in by_name[r]]
                    if known or room in ("include", "platform/include", "wire", "src/comm"):
                        print(f"{path.relative_to(root)} may not include {include} (of {known})")
                        bad += 1
    # Circles among the headers of the library, public and internal.
    headers = {**by_name["platform/include"], **by_name["include"],
               **by_name["wire"],
               **{n: p for n, p in by_name["src/comm"].items() if n.endswith(".h")}}
    graph = {name: [pathlib.PurePath(i).name for i in quoted_includes(path)] for name, path in headers.items()}

    def walk(name, trail):
        if name in trail:
            print("circle: " + " -> ".join(trail[trail.index(name):] + [name]))
            return 1
        return sum(walk(next_name, trail + [name]) for next_name in graph.get(name, []) if next_name in graph)

    bad += sum(walk(name, []) for name in graph)
    print(f"{checked} includes, {len(graph)} headers, {bad} problems")
    return 1 if bad or checked < 20 else 0


sys.exit(main())
