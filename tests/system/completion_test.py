"""Completion, as a user of bash and zsh gets it: every command and option that the help shows, choices, names and files.
The files that an installation has are what the shells load."""
import argparse
import os
import pathlib
import pty
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

DEADLINE_SECONDS = 120


def check(holds, text):
    if not holds:
        sys.exit(f"FAILED: {text}")


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(77)


# ---- What the help says

def help_of(program, words):
    return subprocess.run([program, *words, "--help"], text=True, capture_output=True, check=True).stdout


def sections(text):
    """The names under each heading of a help text."""
    found, heading = {}, ""
    for line in text.splitlines():
        if line and not line[0].isspace() and line.endswith(":"):
            heading = line
        elif re.match(r"  \S", line):
            found.setdefault(heading, []).append(line.split()[0])
    return found


def commands_in(text):
    return {name for heading, names in sections(text).items() if heading not in ("Positionals:", "Options:")
            for name in names if not name.startswith("-")}


def options_in(text):
    return {part for name in sections(text).get("Options:", []) for part in name.split(",") if part.startswith("-")}


def tree_of(program, words=()):
    """Every command with what the help says that may follow it."""
    text = help_of(program, words)
    commands = commands_in(text)
    yield words, commands, options_in(text)
    for name in sorted(commands):
        yield from tree_of(program, (*words, name))


# ---- The shells

class Bash:
    def __init__(self, folder, completions, path):
        self.folder, self.completions = folder, completions / "share/bash-completion/completions"
        self.environment = {**os.environ, "PATH": path}

    def complete(self, line):
        """What may be at the end of a line, which is split where bash splits it."""
        words = re.findall(r"=|[^\s=]+", line)
        if line[-1:] in (" ", "="):
            words.append("")
        script = """
            source "$1"; shift
            COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
            "$(complete -p "$1" | sed 's/.*-F \\([^ ]*\\) .*/\\1/')"
            printf '%s\\n' "${COMPREPLY[@]}"
        """
        result = subprocess.run(["bash", "--norc", "-c", script, "bash", self.completions / words[0], *words],
                                cwd=self.folder, env=self.environment, text=True, capture_output=True)
        check(result.returncode == 0 and not result.stderr, f"bash: {line}: {result.stderr}")
        return {word for word in result.stdout.splitlines() if word}

    def close(self):
        pass


class Zsh:
    """An interactive zsh on a terminal of its own. What is offered goes to a file, and the line after it."""
    SETUP = """
        fpath=({completions} $fpath); autoload -Uz compinit; compinit -u -d {folder}/.zcompdump
        compadd() {{
            if (( ${{argv[(I)-[OAD]]}} )); then builtin compadd "$@"; return; fi
            local -a offered; builtin compadd -O offered "$@"
            print -rl -- $offered >>{out}; builtin compadd "$@"
        }}
        tell() {{ print -r -- "LINE $BUFFER" >>{out}; zle kill-buffer }}
        zle -N tell; bindkey '^X' tell; bindkey '^I' complete-word; setopt no_beep; unsetopt list_ambiguous; cd {cwd}
        print -r -- "LINE ready" >>{out}
    """

    def __init__(self, folder, completions, path):
        self.out = folder / ".offered"
        self.out.write_text("")
        self.child, self.terminal = pty.fork()
        if self.child == 0:
            os.environ.update(PATH=path, ZDOTDIR=str(folder), TERM="dumb")
            os.execvp("zsh", ["zsh", "-f", "-i"])
        setup = folder / ".setup"
        files = folder / "files"
        own = next(completions.rglob("_orva-inspect")).parent
        setup.write_text(self.SETUP.format(completions=own, folder=folder, out=self.out, cwd=files))
        self.ask(f". {setup}\n")

    def ask(self, keys):
        before = self.out.read_text()
        os.write(self.terminal, keys.encode())
        deadline = time.monotonic() + DEADLINE_SECONDS
        while True:
            if select.select([self.terminal], [], [], 0.02)[0]:
                os.read(self.terminal, 65536)  # the screen, which nobody looks at
            lines = self.out.read_text()[len(before):].split("\n")
            line = next((line for line in lines if line.startswith("LINE ")), None)
            if line is not None and lines[-1] == "":
                return {word for word in lines if word and word != line}, line[5:]
            check(time.monotonic() < deadline, f"zsh answers {keys!r}: {lines}")

    def complete(self, line):
        offered, after = self.ask(f"{line}\t\x18")
        # A single word is put into the line.
        return offered | ({after.split()[-1]} if after.strip() != line.strip() else set())

    def close(self):
        os.kill(self.child, signal.SIGKILL)
        os.waitpid(self.child, 0)
        os.close(self.terminal)


# ---- What is expected

def names(words):
    """Words without what a shell appends."""
    return {word.rstrip("/") for word in words}


def check_tree(shell, program):
    count = 0
    for words, commands, options in tree_of(program):
        line = " ".join((pathlib.Path(program).name, *words))
        if commands:
            following = shell.complete(line + " ")
            check(commands <= names(following), f"{line} is followed by {sorted(commands)}, not {sorted(following)}")
        offered = {word.split("=")[0] for word in shell.complete(line + " -")}
        check(options <= offered, f"{line} takes {sorted(options)}, not {sorted(offered)}")
        count += 1
    return count


CASES = (
    ("orva-inspect me", {"message"}),
    ("orva-inspect --color ", {"auto", "always", "never"}),
    ("orva-inspect --json --color never tl", {"tlv"}),
    ("orva-inspect message --family Temp", {"TempInfo"}),
    ("orva-inspect message --family TempInfo --framing ", {"detect", "body", "frame", "datagram"}),
    ("orva-inspect message ", {"block.bin", "folder"}),
    ("orva-inspect tlv --record b", {"board"}),
    ("orva-inspect tlv --hex bl", {"block.bin"}),
    ("orva-inspect diff block.bin ", {"block.bin", "folder"}),
    ("orva-inspect code ORVA_ERR_QUEUE_WRITE_A", {"ORVA_ERR_QUEUE_WRITE_ARGUMENT"}),
    ("orva-inspect stub pmSw", {"pmSwitch"}),
    ("orva-inspect schema tl", {"tlv"}),
    ("orva-inspect --color=al", {"always", "--color=always"}),
    ("orva-board check bl", {"block.bin"}),
    ("orva-port-check --preload block.bin fol", {"folder"}),
    ("orva-port-check --case imp", {"imports"}),
    ("orva-chassis run de", {"demo"}),
    ("orva-chassis run demo --time ", {"real", "virtual"}),
    ("orva-chassis run demo --run-dir fol", {"folder"}),
    ("orva-chassis debug packet on 1 u", {"udp"}),
)


def check_cases(shell, programs):
    for line, expected in CASES:
        if line.split()[0] not in programs:
            continue
        offered = names(shell.complete(line))
        if len(expected) == 2 and line.endswith("=al"):
            check(offered & expected, f"{line} offers {sorted(offered)}")
        else:
            last = line.split(" ")[-1]
            wanted = {word for word in offered if word.startswith(last)}
            check(wanted == expected, f"{line} offers {sorted(wanted)}, not {sorted(expected)}")


def install(cmake, build, prefix):
    """What an installation has of completions, and nothing else of it."""
    subprocess.run([cmake, f"-DCMAKE_INSTALL_PREFIX={prefix}", "-DCMAKE_INSTALL_COMPONENT=host", "-P",
                    build / "command_line/cmake_install.cmake"], check=True, capture_output=True)
    return prefix


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("shell", choices=("bash", "zsh"))
    parser.add_argument("--build", required=True)
    parser.add_argument("--cmake", required=True)
    args = parser.parse_args()
    if shutil.which(args.shell) is None:
        skip(f"there is no {args.shell}")
    build = pathlib.Path(args.build).resolve()
    programs = {path.name: str(path) for path in (build / "tools/orva-inspect", build / "tools/orva-board",
                                                  build / "tools/orva-port-check", build / "chassis/orva-chassis")
                if path.exists()}
    check(programs, "there are programs")
    path = f"{build}/tools:{build}/chassis:{os.environ['PATH']}"
    with tempfile.TemporaryDirectory(prefix="orva_completion_") as scratch:
        folder = pathlib.Path(scratch)
        (folder / "files" / "folder").mkdir(parents=True)
        (folder / "files" / "block.bin").write_text("")
        installed = install(args.cmake, build, folder / "installed")
        shell = {"bash": Bash, "zsh": Zsh}[args.shell](folder / "files" if args.shell == "bash" else folder, installed,
                                                       path)
        try:
            check_cases(shell, programs)
            count = sum(check_tree(shell, program) for program in programs.values())
        finally:
            shell.close()
    print(f"{args.shell} completes {count} commands of {len(programs)} programs, and {len(CASES)} lines")


main()
