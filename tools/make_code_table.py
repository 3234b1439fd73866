"""Writes the rows of code_table.cpp from the public headers: each named result code with the functions that document
it as a result, and each reason with its text."""
import pathlib
import re
import sys

CODE = re.compile(r"^#define\s+(ORVA_OK|ORVA_FAILED|ORVA_ERR_\w+)\s", flags=re.M)
REASON = re.compile(r"^#define\s+(ORVA_REASON_\w+)\s+(0x\w+)u\s*/\*\*<\s*(.*?)\.?\s*\*/", flags=re.M)
FUNCTION = re.compile(r"/\*\*((?:(?!\*/).)*)\*/\s*(?:ORVA_PRINTF\(\d+\)\s*)?ORVA_API\s[\w\s*]*?(\w+)\(", flags=re.S)


def rows(include):
    headers = sorted(include.glob("orva_*.h"), key=lambda header: (header.name != "orva_types.h", header.name))
    for header in headers:
        text = header.read_text()
        results = [(name, set(re.findall(r"@retval\s+(\w+)", comment))) for comment, name in FUNCTION.findall(text)]
        for code in CODE.findall(text):
            # Success and plain failure have no site: nearly every function returns them.
            functions = [name for name, codes in results if code in codes and code.startswith("ORVA_ERR_")]
            yield f'CODE({code}, "{header.name}", "{" ".join(functions)}")'
    types = (include / "orva_types.h").read_text()
    for name, _, text in sorted(REASON.findall(types), key=lambda reason: int(reason[1], 16)):
        yield f'REASON({name}, "{text[0].lower()}{text[1:]}")'


def main():
    include, output = (pathlib.Path(argument) for argument in sys.argv[1:])
    lines = list(rows(include))
    output.write_text("// Made by make_code_table.py from the public headers.\n" + "".join(f"{line}\n" for line in lines))


main()
