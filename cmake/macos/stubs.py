#!/usr/bin/env python3
"""Writes text stubs (.tbd): what a library of macOS exports, for linking where that library is not.

usage: stubs.py frameworks DECLARATIONS FOLDER
           one framework for each folder of DECLARATIONS whose name has a capital, with what its
           headers declare, and the Objective-C runtime
       stubs.py library INSTALL_NAME STUB LIBRARY...
           what shared libraries of this system export, under the name of a library of macOS
       stubs.py missing PATTERN INSTALL_NAME STUB ARCHIVE
           what the objects of an archive lack and the pattern matches: for a library in C++, whose
           exports differ by compiler
"""
import pathlib
import re
import subprocess
import sys

# Folders of declarations that are no frameworks.
SYSTEM_LIBRARY = ("CommonCrypto",)
TARGETS = "[ arm64-macos, x86_64-macos ]"
# What the compiler calls for Objective-C.
RUNTIME = ("objc_alloc", "objc_alloc_init", "objc_autorelease", "objc_autoreleasePoolPop",
           "objc_autoreleasePoolPush", "objc_autoreleaseReturnValue", "objc_enumerationMutation",
           "objc_getClass", "objc_msgSend", "objc_msgSend_stret", "objc_msgSend_fpret", "objc_opt_class",
           "objc_opt_isKindOfClass", "objc_opt_new", "objc_opt_respondsToSelector", "objc_opt_self",
           "objc_release", "objc_retain", "objc_retainAutorelease",
           "objc_retainAutoreleasedReturnValue", "objc_retainAutoreleaseReturnValue",
           "objc_retainBlock", "objc_storeStrong", "objc_unsafeClaimAutoreleasedReturnValue",
           "_objc_empty_cache", "__objc_personality_v0", "sel_registerName")


def write_stub(path, install_name, symbols, classes=()):
    path.parent.mkdir(parents=True, exist_ok=True)
    lines = ["--- !tapi-tbd", "tbd-version: 4", f"targets: {TARGETS}", f"install-name: '{install_name}'",
             "exports:", f"  - targets: {TARGETS}"]
    if symbols:
        lines.append("    symbols: [ " + ", ".join(f"'_{name}'" for name in sorted(symbols)) + " ]")
    if classes:
        lines.append("    objc-classes: [ " + ", ".join(sorted(classes)) + " ]")
    path.write_text("\n".join(lines) + "\n...\n", encoding="utf-8")


COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL)
DIRECTIVE = re.compile(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", re.MULTILINE)
ATTRIBUTE = re.compile(r"__attribute__\s*\(\(.*?\)\)|API_\w+\((?:[^()]|\([^()]*\))*\)")
EXPORTED = re.compile(r'(?:\b\w+_EXPORT|extern\s+"C")\s+([^;{}]+);')
BLOCK = re.compile(r'extern\s+"C"\s*\{(.*?)\n\}', re.DOTALL)
CLASS = re.compile(r"@interface\s+(\w+)(?:<\w+>)?\s*:")


def declared_names(text):
    """The functions and constants that a header exports."""
    text = ATTRIBUTE.sub("", DIRECTIVE.sub("", COMMENT.sub("", text)))
    declarations = EXPORTED.findall(text)
    for block in BLOCK.findall(text):
        declarations += [part for part in block.split(";") if part.strip()]
    names = set()
    for declaration in declarations:
        function = re.search(r"(\w+)\s*\(", declaration)
        names.add(function.group(1) if function else re.findall(r"\w+", declaration)[-1])
    return names


def write_frameworks(declarations, folder):
    for source in sorted(path for path in declarations.iterdir()
                         if path.is_dir() and path.name[0].isupper() and path.name not in SYSTEM_LIBRARY):
        texts = [path.read_text(encoding="utf-8") for path in sorted(source.rglob("*.h"))]
        symbols = set().union(*(declared_names(text) for text in texts))
        classes = {name for text in texts for name in CLASS.findall(COMMENT.sub("", text))}
        if any("__builtin___CFStringMakeConstantString" in text for text in texts):
            symbols.add("__CFConstantStringClassReference")
        name = source.name
        write_stub(folder / f"{name}.framework" / f"{name}.tbd",
                   f"/System/Library/Frameworks/{name}.framework/Versions/A/{name}", symbols, classes)
    write_stub(folder / "libobjc.tbd", "/usr/lib/libobjc.A.dylib", RUNTIME)


def exports(library):
    listing = subprocess.run(["nm", "--dynamic", "--defined-only", "--format=posix", library], check=True,
                             capture_output=True, text=True).stdout
    return {line.split()[0].split("@")[0] for line in listing.splitlines()}


def missing(pattern, archive):
    listing = subprocess.run(["llvm-nm-14", "--undefined-only", "--format=posix", archive], check=True,
                             capture_output=True, text=True).stdout
    names = {line.split()[0] for line in listing.splitlines() if line.startswith("_")}
    return {name[1:] for name in names if re.search(pattern, name)}


def main(arguments):
    match arguments:
        case ["frameworks", declarations, folder]:
            write_frameworks(pathlib.Path(declarations), pathlib.Path(folder))
        case ["library", install_name, stub, *libraries] if libraries:
            write_stub(pathlib.Path(stub), install_name, set().union(*map(exports, libraries)))
        case ["missing", pattern, install_name, stub, archive]:
            write_stub(pathlib.Path(stub), install_name, missing(pattern, archive))
        case _:
            print(__doc__, file=sys.stderr)
            return 2
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
