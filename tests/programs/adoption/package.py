#!/usr/bin/env python3
"""Installs the Debian package in a bare system and compiles there.

  package.py BUILD-DIRECTORY

The system is a folder with what the packages that ours depends on have brought here, those that they depend on, and nothing else. So a
dependency that the package does not name is missed, and no network is needed. dpkg itself checks what is named. Needs root, or a kernel that lets
a user be root of a name space.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ESSENTIAL = ["libc-bin"]
LEFT_OUT = ("/usr/share/doc/", "/usr/share/man/", "/usr/share/locale/", "/usr/share/info/")
HELLO = '#include <stdio.h>\n#include <math.h>\nint main(int n, char **v) { printf("%s %g\\n", v[n - 1], sqrt(n * 8.0)); return 0; }\n'


def output(*words, **settings):
    return subprocess.run([str(word) for word in words], check=True, capture_output=True, text=True, **settings).stdout


def root_words():
    return [] if os.geteuid() == 0 else ["unshare", "--map-root-user"]


class Installed:
    """The packages of this machine."""

    def __init__(self):
        self.depends = {}   # name: text of its dependencies
        self.provides = {}  # name: the packages that are it or stand for it
        fields = "${binary:Package}\\t${db:Status-Status}\\t${Provides}\\t${Pre-Depends}\\t${Depends}\\n"
        for line in output("dpkg-query", "-W", "-f", fields).splitlines():
            name, status, provides, *depends = line.split("\t")
            if status != "installed":
                continue
            self.depends[name] = ", ".join(filter(None, depends))
            for other in [name.partition(":")[0], *(p.split()[0] for p in provides.split(",") if p.strip())]:
                self.provides.setdefault(other, []).append(name)

    def closure(self, text):
        """The installed packages that the dependencies lead to."""
        found, waiting = set(), [text, ", ".join(ESSENTIAL)]
        while waiting:
            for wish in filter(str.strip, waiting.pop().split(",")):
                names = [re.split(r"[\s:(]", choice.strip())[0] for choice in wish.split("|")]
                package = next((self.provides[name][0] for name in names if name in self.provides), None)
                if not package:
                    raise SystemExit(f"package.py: nothing here is '{wish.strip()}'")
                if package not in found:
                    found.add(package)
                    waiting.append(self.depends[package])
        return sorted(found)


def place(source, target):
    target.parent.mkdir(parents=True, exist_ok=True)
    if os.path.lexists(target):
        return
    try:
        os.link(source, target, follow_symlinks=False)
    except OSError:
        shutil.copy2(source, target, follow_symlinks=False)


def bare_system(root, packages):
    """Fills the folder with the files of the packages and dpkg's knowledge of them."""
    for name in ("usr/bin", "usr/sbin", "usr/lib", "tmp", "dev", "var/lib/dpkg/info", "var/lib/dpkg/updates", "var/lib/dpkg/triggers"):
        (root / name).mkdir(parents=True)
    for entry in pathlib.Path("/").iterdir():
        if entry.is_symlink() and os.readlink(entry).startswith("usr/"):
            (root / entry.name).symlink_to(os.readlink(entry))
            (root / os.readlink(entry)).mkdir(exist_ok=True)
    for package in packages:
        for line in output("dpkg-query", "-L", package).splitlines():
            source = pathlib.Path(line)
            if line.startswith("/") and not line.startswith(LEFT_OUT) and (source.is_symlink() or source.is_file()):
                place(source, root / line[1:])
        files = pathlib.Path("/var/lib/dpkg/info")
        for name in (f"{package}.list", f"{package.partition(':')[0]}.list"):
            if (files / name).exists():
                shutil.copy2(files / name, root / "var/lib/dpkg/info" / name)
    (root / "var/lib/dpkg/status").write_text("\n".join(output("dpkg-query", "-s", package).rstrip() + "\n" for package in packages))
    (root / "etc").mkdir(exist_ok=True)


def try_package(package, root):
    dpkg = [*root_words(), "dpkg", f"--root={root}", "--force-not-root", f"--log={root}/dpkg.log"]
    output(*dpkg, "-i", package)
    (root / "tmp/hello.c").write_text(HELLO)
    inside = [*root_words(), shutil.which("chroot"), root]
    clean = {"PATH": "/usr/bin:/usr/sbin", "LC_ALL": "C"}
    output(*inside, "/usr/bin/pelorus-cc", "-O2", "-Wall", "-Werror", "-g", "/tmp/hello.c", "-lm", "-o", "/tmp/hello", env=clean)
    printed = output("qemu-arm", "-L", root / "usr/arm-linux-gnueabihf", root / "tmp/hello", "works")
    assert printed == "works 4\n", printed
    output(*inside, "/usr/bin/pelorus-cc", "--icode", "/tmp/hello.c", "-o", "/tmp/hello.opt", env=clean)
    for words in (["icode-val", "/tmp/hello.if", "/tmp/hello.opt"], ["icode-run", "--compare", "/tmp/hello.if", "/tmp/hello.opt"]):
        output(*inside, "/usr/bin/" + words[0], *words[1:], env=clean)
    files = output(*dpkg, "-L", "pelorus").split()
    for wanted in ("share/man/man1/pelorus-cc.1", "share/doc/pelorus/pelorus-cc.md", "share/bash-completion/completions/icode-run",
                   "share/zsh/vendor-completions/_pelorus", "share/pelorus/toolchain.cmake"):
        assert "/usr/" + wanted in files, wanted
    output(*dpkg, "-r", "pelorus")
    left = [file for file in files if (root / file[1:]).is_file()]
    assert not left, left


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    # Beside the build, so that links to files suffice more often than in a folder of temporary files.
    with tempfile.TemporaryDirectory(dir=build, prefix="package-test-") as folder:
        work = pathlib.Path(folder)
        output("cpack", "-G", "DEB", "--config", build / "CPackConfig.cmake", "-B", work / "made", cwd=work)
        package = next((work / "made").glob("*.deb"))
        depends = output("dpkg-deb", "-f", package, "Depends")
        packages = Installed().closure(depends)
        bare_system(work / "root", packages)
        try_package(package, work / "root")
        print(f"{package.name}: {package.stat().st_size} bytes, {len(packages)} packages below it; depends on {depends.strip()}")


try:
    main()
except subprocess.CalledProcessError as failure:
    sys.exit(f"package.py: {' '.join(map(str, failure.cmd))}: status {failure.returncode}\n{failure.stdout}{failure.stderr}")
