#!/usr/bin/env python3
"""check_exports.py - the shared library's dynamic symbols against the names
that the installed headers declare.

The headers are run through the C preprocessor together; the functions and
variables declared at file scope in them (not typedefs, types or static
inline functions) are the names that applications may bind to.  Every one
must be a defined dynamic symbol of the library, and the library must export
nothing else.

A declared name that no object of the static library defines is reported
as not implemented, without failing: the headers run ahead of the code.

usage: check_exports.py SHARED-LIBRARY STATIC-LIBRARY C-COMPILER [FLAG...] -- HEADER...
"""
import os
import re
import subprocess
import sys

# Symbols that the linker and the sanitizer instrumentation add.
TOOL_SYMBOL = re.compile(r"^(_init|_fini|_edata|_end|__bss_start|__odr_asan.*|__asan.*|__ubsan.*|__sanitizer.*)$")
IDENT = re.compile(r"[A-Za-z_]\w*")


def header_text(compiler, flags, headers):
    """The preprocessed text of the headers themselves, system headers left out."""
    source = "".join(f"#include \"{os.path.abspath(h)}\"\n" for h in headers)
    dirs = sorted({os.path.dirname(os.path.abspath(h)) for h in headers})
    out = subprocess.run([compiler, *flags, "-E", "-x", "c", *[f"-I{d}" for d in dirs], "-"],
                         input=source, capture_output=True, text=True, check=True).stdout
    ours = {os.path.realpath(h) for h in headers}
    keep, text = False, []
    for line in out.splitlines():
        marker = re.match(r'# \d+ "([^"]+)"', line)
        if marker:
            keep = os.path.realpath(marker.group(1)) in ours
        elif keep:
            text.append(line)
    return "\n".join(text)


def strip_attributes(text):
    """Removes __attribute__((...)) with its balanced parentheses."""
    while True:
        start = text.find("__attribute__")
        if start < 0:
            return text
        i, depth = text.index("(", start), 0
        while True:
            depth += {"(": 1, ")": -1}.get(text[i], 0)
            i += 1
            if depth == 0:
                break
        text = text[:start] + text[i:]


def statements(text):
    """File-scope statements, each with its braced parts left out, and a
    flag telling a function definition (a body and no semicolon)."""
    current, depth = [], 0
    for ch in text:
        if ch == "{":
            depth += 1
            if depth == 1:
                current.append(" {} ")
        elif ch == "}":
            depth -= 1
            if depth == 0 and "".join(current).rstrip().endswith(") {}"):
                yield "".join(current), True
                current = []
        elif depth == 0:
            if ch == ";":
                yield "".join(current), False
                current = []
            else:
                current.append(ch)


def split_declarators(text):
    parts, depth, start = [], 0, 0
    for i, ch in enumerate(text):
        depth += {"(": 1, "[": 1, ")": -1, "]": -1}.get(ch, 0)
        if ch == "," and depth == 0:
            parts.append(text[start:i])
            start = i + 1
    parts.append(text[start:])
    return parts


def declared_name(declarator):
    pointer = re.search(r"\(\s*\*\s*(?:const\s+)?([A-Za-z_]\w*)", declarator)
    if pointer:  # pointer to a function or to an array
        return pointer.group(1)
    head = re.split(r"[\[=]", declarator)[0]
    if "(" in head:  # a function: the name stands before its parameters
        head = head[:head.index("(")]
    names = IDENT.findall(head)
    return names[-1] if names else None


def declared_names(text):
    names = set()
    for statement, definition in statements(strip_attributes(text)):
        words = statement.split()
        if definition or not words or words[0] in ("typedef", "static"):
            continue
        body = statement.split("{}")[-1]  # after an inline struct type
        if re.fullmatch(r"\s*((struct|union|enum)\s+\w+)?\s*", body):  # a type alone
            continue
        for declarator in split_declarators(body):
            name = declared_name(declarator)
            if name and name not in ("struct", "union", "enum"):
                names.add(name)
    return names


def defined_names(*nm_arguments):
    out = subprocess.run(["nm", "--defined-only", *nm_arguments], capture_output=True, text=True,
                         check=True).stdout
    names = {line.split()[-1].split("@")[0] for line in out.splitlines() if len(line.split()) == 3}
    return {n for n in names if not TOOL_SYMBOL.match(n)}


def main():
    split = sys.argv.index("--")
    shared, static, compiler, *flags = sys.argv[1:split]
    headers = sys.argv[split + 1:]
    declared = declared_names(header_text(compiler, flags, headers))
    exported = defined_names("-D", shared)
    defined = defined_names("-g", static)
    failed = False
    for title, names, fails in (
            ("exported but declared in no installed header", exported - declared, True),
            ("declared in an installed header and defined, but hidden", (declared & defined) - exported, True),
            ("declared but not implemented yet", declared - defined - exported, False)):
        if names:
            failed = failed or fails
            print(f"{len(names)} {title}:")
            for name in sorted(names):
                print("  " + name)
    print(f"{len(exported)} exported names, {len(declared)} declared")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
