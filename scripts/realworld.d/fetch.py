"""Fetches the upstream sources of Debian packages.

apt checks the signatures, with a list of sources and folders of its own inside the cache: the system's configuration stays as it is. Only
what upstream released is fetched and unpacked, without Debian's changes. A source that is in the cache is used without the network.
"""
import fcntl
import pathlib
import shutil
import subprocess
import tarfile
import tempfile

SOURCES_LIST = "deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] http://deb.debian.org/debian bookworm main\n"
SECONDS = 300  # for one command of apt


class NotFetched(Exception):
    """The download failed, with the reason."""


class Cache:
    def __init__(self, folder):
        self.folder = folder
        self.apt = folder / "apt"
        self.index_is_new = False

    def apt_get(self, *words, cwd=None):
        options = {"Dir::Etc::sourcelist": self.apt / "sources.list", "Dir::Etc::sourceparts": "/dev/null", "Dir::State::lists": self.apt / "lists",
                   "Dir::Cache": self.apt / "cache", "APT::Sandbox::User": "root", "Acquire::Retries": "2", "Acquire::http::Timeout": "30"}
        command = ["apt-get", "-q"] + [word for name, value in options.items() for word in ("-o", f"{name}={value}")] + list(words)
        try:
            result = subprocess.run(command, cwd=cwd, capture_output=True, text=True, timeout=SECONDS)
        except (OSError, subprocess.TimeoutExpired) as failure:
            raise NotFetched(f"apt-get: {failure}") from None
        # An index that could not be fetched is only a warning of "update".
        complaints = [line for line in result.stderr.splitlines() if line.startswith(("E:", "W: Failed to fetch", "W: Some index"))]
        if result.returncode or complaints:
            raise NotFetched("\n".join(complaints) or result.stderr)

    def update(self):
        if self.index_is_new:
            return
        for folder in ("lists/partial", "cache/archives/partial"):
            (self.apt / folder).mkdir(parents=True, exist_ok=True)
        (self.apt / "sources.list").write_text(SOURCES_LIST)
        self.apt_get("update")
        self.index_is_new = True

    def archive(self, name):
        """The package's archive of upstream sources, from the cache or from Debian. Raises NotFetched."""
        self.folder.mkdir(parents=True, exist_ok=True)
        with open(self.folder / "lock", "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            found = sorted((self.folder / name).glob("*.orig.tar.*"))
            return found[0] if found else self.download(name)

    def download(self, name):
        self.update()
        with tempfile.TemporaryDirectory(dir=self.folder) as work:
            self.apt_get("source", "--download-only", "--tar-only", name, cwd=work)
            archives = [file for file in pathlib.Path(work).glob("*.orig.tar.*") if file.suffix != ".asc"]
            if len(archives) != 1:
                raise NotFetched(f"{name}: {len(archives)} archives came instead of one")
            target = self.folder / name
            target.mkdir(exist_ok=True)
            return pathlib.Path(shutil.move(archives[0], target / archives[0].name))


def version(archive):
    """'zlib_1.2.13.dfsg.orig.tar.bz2': '1.2.13.dfsg'."""
    return archive.name.partition("_")[2].partition(".orig.tar")[0]


def unpack(archive, folder):
    """Unpacks so that the one folder in the archive becomes `folder`."""
    with tempfile.TemporaryDirectory(dir=folder.parent) as work, tarfile.open(archive) as tar:
        # Python older than 3.11.4 has no filters.
        tar.extractall(work, **({"filter": "data"} if hasattr(tarfile, "data_filter") else {}))
        entries = list(pathlib.Path(work).iterdir())
        shutil.move(entries[0] if len(entries) == 1 else work, folder)
