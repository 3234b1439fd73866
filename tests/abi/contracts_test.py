"""The headers as contracts: every function documents each parameter with its direction, its results and its thread
safety in one of four fixed phrases; every named result code is a result of some function."""
import argparse
import pathlib
import re
import sys

PHRASES = ("Thread-safe.", "Thread-safe for distinct objects.", "Not thread-safe.", "Thread-safe after start-up.")
COMMENT = re.compile(r"/\*.*?\*/", flags=re.S)
CODE = re.compile(r"^#define\s+(ORVA_ERR_\w+)", flags=re.M)


def split_arguments(text):
    depth, start, parts = 0, 0, []
    for i, c in enumerate(text + ","):
        depth += (c == "(") - (c == ")")
        if c == "," and depth == 0:
            parts.append(text[start:i].strip())
            start = i + 1
    return [p for p in parts if p and p != "void"]


def argument_name(argument):
    pointer = re.search(r"\(\s*\*\s*(\w+)\s*\)", argument)
    return pointer.group(1) if pointer else re.search(r"(\.\.\.|\w+)\s*(\[\w*\])?$", argument).group(1)


def functions(text):
    """(name, returns, arguments, docstring) of every function; a docstring that opens a group counts for the group."""
    text = re.sub(r"/\*\* @cond \*/.*?/\*\* @endcond \*/", lambda m: " " * len(m.group(0)), text, flags=re.S)
    text = re.sub(r"^#ifdef __cplusplus$.*?^#(else|endif)$", lambda m: " " * len(m.group(0)), text, flags=re.M | re.S)
    code = COMMENT.sub(lambda m: "\0" * len(m.group(0)), text)
    code = re.sub(r"^\s*#(.*\\\n)*.*$", lambda m: " " * len(m.group(0)), code, flags=re.M)
    code = re.sub(r'extern "C" \{', lambda m: " " * len(m.group(0)), code)
    code = re.sub(r"ORVA_(BEGIN|END)_DECLS|\b(ORVA|TOVA|SAFEIO)_PRINTF\([^)]*\)|\bSAFEIO_SCANF\([^)]*\)|__attribute__\(\(.*?\)\)\)|"
                  r"\b(ORVA_API|static|inline|extern)\b", lambda m: " " * len(m.group(0)), code)
    comments = [(m.start(), m.end(), m.group(0)) for m in COMMENT.finditer(text)]
    docstring, depth, start = "", 0, 0
    found = []
    for i, c in enumerate(code):
        if c == "{":
            if depth == 0:
                head = i
            depth += 1
        if c == "}":
            depth -= 1
        if not (depth == 0 and c in ";}"):
            continue
        end = head if c == "}" else i
        declaration = code[start:end].replace("\0", "")
        inside = [m for m in comments if start <= m[0] < end]
        here = [m for m in inside if m[2].startswith("/**") and not m[2].startswith("/**<")
                and re.search(r"@file|@name|@\{|@\}|@cond|@endcond", m[2]) is None]
        grouped = not inside
        docstring = here[-1][2] if here else (docstring if grouped else "")
        start = i + 1
        match = re.match(r"\s*([\w\s*]+?)\b(\w+)\s*\((.*)\)\s*$", declaration, flags=re.S)
        if match and "typedef" not in declaration:
            found.append((match.group(2), match.group(1).strip(),
                          [argument_name(a) for a in split_arguments(match.group(3))], docstring))
    return found


def problems_of(name, returns, arguments, docstring):
    if not docstring:
        yield "no docstring"
        return
    documented = re.findall(r"@param\[(?:in|out|in,out)\]\s+(\.\.\.|\w+)", docstring)
    if documented != arguments:
        yield f"documents the parameters {documented}, has {arguments}"
    if returns != "void" and re.search(r"@retval|@return", docstring) is None:
        yield "does not document its result"
    if returns == "void" and re.search(r"@retval|@return", docstring) is not None:
        yield "documents a result that it has not"
    words = " ".join(re.sub(r"^\s*\*", "", line) for line in docstring.splitlines())
    words = re.sub(r"\s+", " ", words)
    phrases = re.findall(r"(?:Not thread|Thread)-safe\b[^.:;,]*[.:;,]", words)
    if len(phrases) != 1 or phrases[0] not in PHRASES:
        yield f"says of thread safety {phrases}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--root", required=True)
    root = pathlib.Path(parser.parse_args().root)
    bad = count = codes = 0
    headers = sorted((root / "include").glob("*.h")) + sorted((root / "platform" / "include").glob("*.h"))
    defined = {code for header in headers for code in CODE.findall(header.read_text())}
    for header in headers:
        text = header.read_text()
        reports = [] if "@file" in text else ["has no @file"]
        for function in functions(text):
            count += 1
            reports += [f"{function[0]}: {problem}" for problem in problems_of(*function)]
        results = set(re.findall(r"@retval\s+(\w+)", text))
        for code in CODE.findall(text):
            codes += 1
            if code not in results:
                reports.append(f"{code} is the result of no function")
        reports += [f"{code} is not a result code" for code in results if code.startswith("ORVA_ERR_") and code not in defined]
        if "Kept:" in text:
            reports.append("says Kept:")
        bad += len(reports)
        print("".join(f"{header.name}: {report}\n" for report in reports), end="")
    print(f"{count} functions, {codes} result codes, {bad} problems")
    return 1 if bad or count < 450 else 0


sys.exit(main())
