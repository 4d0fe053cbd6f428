"""Looks at the finished library from outside, as the dynamic linker does.

  exports_test.py symbols LIBRARY       what it defines, and what it leaves to its host
  exports_test.py dependencies LIBRARY  its SONAME and the libraries it needs
"""

import pathlib
import re
import subprocess
import sys

update_exports = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "update-exports"


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def declared(kind):
    names = set(output_of(sys.executable, str(update_exports), "--list", kind).split())
    assert names, f"no name of kind '{kind}' found in the headers"
    return names


def dynamic_symbols(library, which):
    """Pairs of nm's letter and the name."""
    lines = output_of("nm", "-D", which, library).splitlines()
    return [tuple(line.split()[-2:]) for line in lines]


def differences(title, found, wanted):
    found, wanted = set(found), set(wanted)
    lines = [f"{title}: {name} is missing" for name in sorted(wanted - found)]
    return lines + [f"{title}: {name} is one too many" for name in sorted(found - wanted)]


def symbol_faults(library):
    weak_letters = {"W", "V"}
    defined = dynamic_symbols(library, "--defined-only")
    strong = [name for letter, name in defined if letter not in weak_letters]
    weak = [name for letter, name in defined if letter in weak_letters]
    faults = differences("public header", strong, declared("api"))
    faults += differences("platform services", weak, declared("platform"))

    # What comes from the C and C++ runtimes carries a version behind an @; what is left, the host must supply.
    undefined = dynamic_symbols(library, "--undefined-only")
    expected_of_host = {name for letter, name in undefined if letter == "U" and "@" not in name}
    faults += [f"undefined: {name} is not the host's" for name in sorted(expected_of_host - declared("host"))]
    return faults


def dependency_faults(library):
    dynamic_section = output_of("readelf", "--dynamic", "--wide", library)
    sonames = re.findall(r"\(SONAME\).*\[(.*)\]", dynamic_section)
    needed = re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic_section)
    runtime = r"(libstdc\+\+|libgcc_s|libm|libc|ld-linux.*|ld64)\.so\.\d+"
    faults = [] if sonames == ["libiocache.so.0"] else [f"SONAME is {sonames}"]
    return faults + [f"{name} is needed" for name in needed if not re.fullmatch(runtime, name)]


def main():
    aspect, library = sys.argv[1:]
    faults = {"symbols": symbol_faults, "dependencies": dependency_faults}[aspect](library)
    print("\n".join(faults) if faults else f"{aspect} of {library}: as declared")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
