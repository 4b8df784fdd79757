#!/usr/bin/python3
"""Tests of the installed copy, one a call. `copy` makes that copy and comes before all others."""

import argparse
import os
import re
import shutil
import subprocess
from pathlib import Path

HERE = Path(__file__).resolve().parent
SOURCE = HERE.parent.parent
ROUTER = SOURCE / "tests" / "api" / "router"

# What the router's one line card is found to lack.
FINDING = "\nMissing PMDB Key 0x5 for ifh 0x3000148 in node 3\n"

# Below the prefix, beside the documents of docs/.
FILES = """
bin/zorbec
include/zorbec.h
lib/libzorbec.so
lib/libzorbec.so.{major}
lib/libzorbec.so.{version}
lib/cmake/zorbec/zorbecConfig.cmake
lib/cmake/zorbec/zorbecConfig-{config}.cmake
lib/cmake/zorbec/zorbecConfigVersion.cmake
lib/pkgconfig/zorbec.pc
share/bash-completion/completions/zorbec
share/doc/zorbec/ARCHITECTURE.md
share/doc/zorbec/CONTRIBUTING.md
share/doc/zorbec/README.md
share/man/man1/zorbec.1
share/man/man3/zorbec.3
"""

CLASSES = "physical physical-subif bundle bundle-subif bvi gre leak multicast"
CHECK_OPTIONS = (
    "--quiet --max-findings --json --jsonl --node --class --progress --deadline --wait --help"
)

# Words before the cursor, the word at the cursor, what is suggested there. Run in a folder that
# holds the files "old report.json", "new.json" and the folder "dumps".
COMPLETIONS = [
    ("zorbec", "", "check diff explain"),
    ("zorbec", "e", "explain"),
    ("zorbec", "-", "--version --help"),
    ("zorbec check", "", "interfaces multicast all"),
    ("zorbec check", "--", CHECK_OPTIONS),
    ("zorbec check", "--json", "--json --jsonl"),
    ("zorbec check all --quiet", "--d", "--deadline"),
    ("zorbec check --quiet", "m", "multicast"),
    ("zorbec check --class", "", CLASSES),
    ("zorbec check --class", "bun", "bundle bundle-subif"),
    ("zorbec check --class gre", "", "interfaces multicast all"),
    ("zorbec check --class =", "le", "leak"),
    ("zorbec check --class gre", "--w", "--wait"),
    ("zorbec check --node", "", ""),
    ("zorbec check --node 2", "--n", "--node"),
    ("zorbec check --max-findings", "", ""),
    ("zorbec check --deadline", "", ""),
    ("zorbec check --deadline 60", "a", "all"),
    ("zorbec check --json", "n", ["new.json"]),
    ("zorbec check --jsonl", "old", ["old report.json"]),
    ("zorbec check --json", "=", ["dumps", "new.json", "old report.json"]),
    ("zorbec check --json =", "n", ["new.json"]),
    ("zorbec check --json = new.json", "i", "interfaces"),
    ("zorbec diff", "", ["dumps", "new.json", "old report.json"]),
    ("zorbec diff new.json", "o", ["old report.json"]),
    ("zorbec diff", "-", "--json --help"),
    ("zorbec diff --json", "n", ["new.json"]),
    ("zorbec explain", "", ""),
    ("zorbec explain 0x5", "-", "--node --from --model --bundle-scale --help"),
    ("zorbec explain 0x5 --from", "d", ["dumps"]),
    ("zorbec explain 0x5 --model", "", "1 2 3 4 5 6 7 8 9"),
    ("zorbec explain 0x5 --bundle-scale", "", "256 512 1024 2048"),
    ("zorbec unknown", "", ""),
]

# Section of zorbec(1), what it has to tell of.
MAN_SECTIONS = {
    "zorbec check": CHECK_OPTIONS.replace(" --help", "") + " " + CLASSES,
    "zorbec diff": "OLD.json NEW.json --json",
    "zorbec explain": "KEY --node --from --model --bundle-scale /tmp",
    "General options": "--version --help",
    "ENVIRONMENT": "NO_COLOR",
    "SIGNALS": "SIGINT SIGTERM SIGUSR1",
    "FILES": "/tmp/zorbec_report.json /tmp/zorbec.lock",
    "EXAMPLES": "check diff explain",
}


def output_of(*command, **options):
    """What the command says. It must succeed and say nothing on standard error."""
    done = subprocess.run(
        [str(word) for word in command], text=True, capture_output=True, check=False, **options
    )
    if done.returncode != 0 or done.stderr:
        raise AssertionError(f"{command}: status {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def check_equal(what, actual, expected):
    if actual != expected:
        raise AssertionError(f"{what}:\n  is       {actual!r}\n  expected {expected!r}")


def check_holds(what, text, words):
    def is_there(word):
        return re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", text)

    missing = [word for word in words if not is_there(word)]
    check_equal(f"{what} does not mention", missing, [])


def files_below(folder):
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir())


class Installed:
    """The tests, with the installed copy and a folder of its own for each."""

    def __init__(self, options):
        self.options = options
        self.prefix = options.work / "copy"
        self.own = options.work / options.test
        self.c_flags = options.c_flags.split()

    def expected_files(self):
        version = self.options.version
        names = FILES.format(
            major=version.split(".")[0], version=version, config=self.options.config
        ).split()
        for form in ("docs/*.md", "docs/*.json"):
            names += [f"share/doc/zorbec/docs/{file.name}" for file in SOURCE.glob(form)]
        return sorted(names)

    def run_on_router(self, host, **environment):
        return output_of(
            self.options.lab, "run", ROUTER, "--", host, env={**os.environ, **environment}
        )

    def page_text(self, name):
        """A man page as it is read, with every section's lines filled into one."""
        return output_of(
            "groff", "-ww", "-man", "-Tascii", "-P-cbou", "-rHY=0", "-rLL=1000n",
            self.prefix / "share/man" / f"man{name[-1]}" / name,
        )

    def sections_of_command_page(self):
        """Title of each section and subsection of zorbec(1) -> its text."""
        sections = {}
        for line in self.page_text("zorbec.1").splitlines():
            if re.match(r" {0,3}\S", line):
                title = line.strip()
                sections[title] = ""
            elif sections:
                sections[title] += line + "\n"
        return sections

    def section(self, title):
        """A section, its title included, by how the title begins."""
        texts = [name + "\n" + text for name, text in self.sections_of_command_page().items()
                 if name.startswith(title)]
        check_equal(f"sections {title}", len(texts), 1)
        return texts[0]

    # The copy is moved after it was made: nothing in it may know where it was put first.
    def copy(self):
        first = self.options.work / "first_place"
        output_of(self.options.cmake, "--install", self.options.build, "--prefix", first)
        first.rename(self.prefix)

    def files(self):
        check_equal("installed files", files_below(self.prefix), self.expected_files())
        library = self.prefix / "lib/libzorbec.so"
        check_equal("link", os.readlink(library), f"libzorbec.so.{self.options.version[0]}")
        header = (self.prefix / "include/zorbec.h").read_text()
        check_equal("zorbec.h", header, (SOURCE / "api/zorbec.h").read_text())

    def relocatable(self):
        for name in files_below(self.prefix):
            path = self.prefix / name
            if path.suffix in (".pc", ".cmake"):
                for place in (SOURCE, self.options.build, self.options.work, "/usr/local"):
                    check_equal(f"{place} in {name}", str(place) in path.read_text(), False)

    def command_runs(self):
        text = output_of(self.prefix / "bin/zorbec", "--version")
        check_holds("--version", text, [self.options.version])

    def host_by_pkg_config(self):
        environment = {**os.environ, "PKG_CONFIG_PATH": str(self.prefix / "lib/pkgconfig")}
        ask = ("pkg-config", "--cflags", "--libs", f"zorbec = {self.options.version}")
        flags = output_of(*ask, env=environment).split()
        host = self.own / "host"
        output_of(
            self.options.cc, "-std=c99", "-Wall", "-Wextra", "-Wpedantic", "-Werror",
            *self.c_flags, HERE / "host/host.c", *flags, "-o", host,
        )
        said = self.run_on_router(host, LD_LIBRARY_PATH=str(self.prefix / "lib"))
        check_equal("the host says", said, FINDING + "status 0\n")

    def host_by_cmake(self):
        output_of(
            self.options.cmake, "-G", "Ninja", "-S", HERE / "host", "-B", self.own,
            f"-DCMAKE_PREFIX_PATH={self.prefix}", f"-DCMAKE_C_COMPILER={self.options.cc}",
            f"-DCMAKE_C_FLAGS={' '.join(self.c_flags)}",
        )
        cache = (self.own / "CMakeCache.txt").read_text()
        check_equal("found in the copy", f"zorbec_DIR:PATH={self.prefix}/" in cache, True)
        output_of(self.options.cmake, "--build", self.own)
        check_equal("the host says", self.run_on_router(self.own / "host"), FINDING + "status 0\n")

    def completion(self):
        script = self.prefix / "share/bash-completion/completions/zorbec"
        for name in ("old report.json", "new.json"):
            (self.own / name).touch()
        (self.own / "dumps").mkdir()
        ask = (
            'source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))\n'
            "[[ $(complete -p zorbec) == 'complete -F _zorbec zorbec' ]] || exit 1\n"
            '_zorbec; for word in "${COMPREPLY[@]}"; do echo "$word"; done'
        )
        for before, word, expected in COMPLETIONS:
            if isinstance(expected, str):
                expected = expected.split()
            suggested = output_of(
                "bash", "--norc", "-c", ask, script, *before.split(), word, cwd=self.own
            )
            check_equal(f"{before} {word}", sorted(suggested.splitlines()), sorted(expected))

    def man_pages(self):
        for title, words in MAN_SECTIONS.items():
            check_holds(f"zorbec(1), {title}", self.section(title), words.split())
        statuses = re.findall(r"^ +(\d+)  +[A-Z]", self.section("EXIT STATUS"), re.M)
        check_equal("statuses of zorbec check", statuses, ["0", "1", "2", "3", "64"])
        library_page = self.page_text("zorbec.3")
        header = (self.prefix / "include/zorbec.h").read_text()
        functions = re.findall(r"ZORBEC_API .*?(zorbec_\w+)\(", header)
        check_equal("functions", len(functions), 3)
        check_holds("zorbec(3)", library_page, functions + ["zorbec.h", "4294967294"])

    def man_page_tells_every_option_of_help(self):
        command = self.prefix / "bin/zorbec"
        general = output_of(command, "--help")
        check_holds("zorbec(1)", self.section("General options"), options_in(general))
        subcommands = re.findall(r"^  ([a-z]+)  ", general.partition("Subcommands:")[2], re.M)
        check_equal("check is a subcommand", "check" in subcommands, True)
        for name in subcommands:
            told = self.section(f"zorbec {name}") + self.section("General options")
            check_holds(f"zorbec(1), {name}", told, options_in(output_of(command, name, "--help")))

    def package(self):
        config = self.options.build / "CPackConfig.cmake"
        # Standard error is where it tells of its progress.
        subprocess.run([self.options.cpack, "--config", config, "-B", self.own],
                       check=True, capture_output=True)
        architecture = output_of("dpkg", "--print-architecture").strip()
        package = self.own / f"zorbec_{self.options.version}_{architecture}.deb"

        # Mode, owner, size, date, time, name, and behind " -> " what a link leads to.
        listed = [line.split(maxsplit=5) for line in
                  output_of("dpkg-deb", "-c", package).splitlines()]
        check_equal("owners", {entry[1] for entry in listed}, {"root/root"})
        names = [entry[5].partition(" -> ")[0] for entry in listed if entry[0][0] != "d"]
        expected = [f"./usr/{name}" for name in files_below(self.prefix)]
        check_equal("packaged files", sorted(names), expected)

        def field(name):
            return output_of("dpkg-deb", "-f", package, name).rstrip("\n")

        for name, value in {
            "Package": "zorbec",
            "Version": self.options.version,
            "Architecture": architecture,
            "Section": "net",
            "Priority": "optional",
            "Maintainer": "zorbec developers <zorbec@localhost.invalid>",
        }.items():
            check_equal(name, field(name), value)
        check_equal("lines of the description", len(field("Description").splitlines()) > 2, True)
        # What the library needs of every machine, and nothing else.
        needed = [need.split()[0] for need in field("Depends").split(",")]
        check_equal("Depends", sorted(needed), ["libc6", "libgcc-s1", "libstdc++6"])


def options_in(help_text):
    options = re.findall(r"--[a-z][-a-z]*", help_text)
    check_equal("--help in the help", "--help" in options, True)
    return options


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--c-flags", default="")
    for name in ("cmake", "cpack", "cc", "config", "version", "lab"):
        parser.add_argument(f"--{name}", required=True)
    for name in ("build", "work"):
        parser.add_argument(f"--{name}", required=True, type=Path)
    parser.add_argument("test")
    options = parser.parse_args()

    installed = Installed(options)
    if options.test == "copy":
        shutil.rmtree(options.work, ignore_errors=True)
        options.work.mkdir(parents=True)
    else:
        shutil.rmtree(installed.own, ignore_errors=True)
        installed.own.mkdir()
    getattr(installed, options.test)()


if __name__ == "__main__":
    main()
