"""What the board is made of: kernel, busybox, the library with phoned, the root file system, the test programs.

Kernel and busybox are built once for each combination of versions and options, and kept below build/device/cache."""
import contextlib
import fcntl
import hashlib
import os
import shutil
import subprocess
import threading
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent
DEVICE = ROOT / "build/device"
TRIPLET = "mips-linux-gnu"
SYSROOT = Path("/usr") / TRIPLET
CROSS = TRIPLET + "-"
LINUX = "linux-source-6.1"

# Programs and libraries of the build that ships (preset release: -Os, link-time optimisation), built for the board.
RELEASE = DEVICE / "release"
RELEASE_NOCERT = DEVICE / "release-nocert"
RELEASE_STATIC = DEVICE / "release-static"
# The library's test programs are those of the preset mips.
TESTS = ROOT / "build/mips"
TEST_PROGRAMS = tuple(folder + "_tests" for folder in (
    "core", "containers", "loop", "messaging", "tracing", "process", "telephony", "cpp", "doubles"))
OPENSSL = ROOT / "build/cross/mips/lib"


class BuildError(Exception):
    """What could not be built, and where to read why."""


def say(text):
    print("device: " + text, flush=True)


def run(*words, log=None, cwd=None, env=None):
    """Runs a command. What it prints goes to a log, or is returned."""
    words = [str(word) for word in words]
    environment = {**os.environ, **(env or {})}
    if log is None:
        result = subprocess.run(words, cwd=cwd, env=environment, stdout=subprocess.PIPE, text=True)
        if result.returncode != 0:
            raise BuildError("%s: exit status %d" % (" ".join(words), result.returncode))
        return result.stdout
    with open(log, "a", encoding="utf-8") as output:
        result = subprocess.run(words, cwd=cwd, env=environment, stdin=subprocess.DEVNULL, stdout=output, stderr=output)
    if result.returncode != 0:
        tail = "".join(Path(log).read_text(encoding="utf-8", errors="replace").splitlines(keepends=True)[-20:])
        raise BuildError("%s: exit status %d; the end of %s:\n%s" % (" ".join(words), result.returncode, log, tail))
    return ""


def jobs():
    """Two things are built at a time; each may use half of the machine."""
    return max(1, (os.cpu_count() or 2) // 2)


def read_options(name):
    """The lines of a file of options that say something."""
    lines = (HERE / name).read_text(encoding="utf-8").splitlines()
    return [line for line in lines if line.startswith("CONFIG_") or line.endswith(" is not set")]


def compiler_version():
    return run(CROSS + "gcc", "--version").splitlines()[0]


def cached(name, ingredients, build):
    """The folder that build(folder, log) has filled, now or before. The ingredients are the texts that decide what comes
    out; they lie in the folder, for those who want to know."""
    text = "\n".join(ingredients) + "\n"
    folder = DEVICE / "cache" / ("%s-%s" % (name, hashlib.sha256(text.encode()).hexdigest()[:16]))
    if folder.exists():
        return folder
    say("building %s" % name)
    start = time.monotonic()
    work = folder.with_suffix(".part")
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    (work / "ingredients").write_text(text, encoding="utf-8")
    build(work, work / "log")
    work.rename(folder)
    say("%s took %d s" % (name, time.monotonic() - start))
    return folder


def check_options(wanted, config, what):
    """Options that contradict each other are dropped without a word by those who read them."""
    lines = set(config.read_text(encoding="utf-8").splitlines())
    for option in wanted:
        if option not in lines and not (option.endswith("is not set") and option.split()[1] + "=" not in "".join(lines)):
            raise BuildError("%s does not take the option %s" % (what, option))


# ---- kernel ----

# Sources of other machines, and of devices that this one does not have: half of all files.
UNUSED_SOURCES = ("Documentation", "samples", "sound", "arch/[!m]*", "drivers/crypto", "drivers/gpu", "drivers/hwmon",
                  "drivers/iio", "drivers/infiniband", "drivers/media", "drivers/net/ethernet", "drivers/net/wireless",
                  "drivers/scsi", "drivers/staging", "drivers/usb")
# What is left are the Makefiles and Kconfigs, which all refer to each other.
SOURCE_FILES = ("*.[chS]", "*.dts*", "*.rst", "*.txt", "*.yaml")


def unpack_kernel(folder, log):
    unused = ["--exclude=%s/%s/%s" % (LINUX, place, files) for place in UNUSED_SOURCES for files in SOURCE_FILES]
    run("tar", "-C", folder, *unused, "-xf", "/usr/src/%s.tar.xz" % LINUX, log=log)


def build_kernel():
    version = run("dpkg-query", "-W", "-f", "${Version}", LINUX)
    options = read_options("kernel.config")

    def build(folder, log):
        # The sources are large, and go when the kernel is done.
        source, output = folder / LINUX, folder / "output"
        unpack_kernel(folder, log)
        output.mkdir()
        make = ("make", "-s", "-C", source, "O=%s" % output, "ARCH=mips", "CROSS_COMPILE=" + CROSS)
        run(*make, "tinyconfig", log=log)
        with open(output / ".config", "a", encoding="utf-8") as config:
            config.write("\n".join(options) + "\n")
        run(*make, "olddefconfig", log=log)
        check_options(options, output / ".config", "Linux")
        run(*make, "-j%d" % jobs(), "vmlinux", log=log)
        shutil.copy(output / ".config", folder / "config")
        run(CROSS + "strip", "-o", folder / "vmlinux", output / "vmlinux", log=log)
        shutil.rmtree(source)
        shutil.rmtree(output)

    return cached("kernel", [LINUX + " " + version, compiler_version(), *options], build) / "vmlinux"


# ---- busybox ----

def fetch_debian_source(package, folder, log):
    """Gets Debian's source package by package lists of its own, as the machine's may leave out sources."""
    lists = folder / "apt/lists/partial"
    sources = folder / "apt/sources"
    lists.mkdir(parents=True)
    sources.mkdir()
    for file in Path("/etc/apt/sources.list.d").glob("*.sources"):
        lines = file.read_text(encoding="utf-8").splitlines()
        (sources / file.name).write_text(
            "\n".join("Types: deb-src" if line.startswith("Types:") else line for line in lines) + "\n", encoding="utf-8")
    classic = Path("/etc/apt/sources.list")
    if classic.exists():
        lines = [line for line in classic.read_text(encoding="utf-8").splitlines() if line.startswith("deb ")]
        (sources / "main.list").write_text("".join("deb-src" + line[3:] + "\n" for line in lines), encoding="utf-8")
    suite = run("sh", "-c", ". /etc/os-release && echo $VERSION_CODENAME").strip()
    apt_get = ("apt-get", "-qq", "-o", "Dir::State::lists=%s" % lists.parent, "-o", "Dir::State::status=/dev/null", "-o",
               "Dir::Cache::archives=%s" % (folder / "apt"), "-o", "APT::Sandbox::User=root", "-o",
               "Dir::Etc::sourcelist=/dev/null", "-o", "Dir::Etc::sourceparts=%s" % sources)
    # A mirror may be half-way through an update. What is really missing then fails to download.
    subprocess.run([*apt_get, "update"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
    run(*apt_get, "source", "%s/%s" % (package, suite), cwd=folder, log=log)


def build_busybox():
    # Debian's version is that of the package that this machine could install.
    policy = run("apt-cache", "policy", "busybox")
    version = next((line.strip() for line in policy.splitlines() if "Candidate:" in line), "unknown")
    options = read_options("busybox.config")

    def build(folder, log):
        fetch_debian_source("busybox", folder, log)
        source = next(path for path in folder.glob("busybox-*") if path.is_dir())
        make = ("make", "-s", "-C", source, "CROSS_COMPILE=" + CROSS)
        run(*make, "defconfig", log=log)
        config = source / ".config"
        names = {option.split("=")[0].removeprefix("# ").split()[0] for option in options}
        kept = [line for line in config.read_text(encoding="utf-8").splitlines()
                if not any(line.startswith((name + "=", "# %s is" % name)) for name in names)]
        config.write_text("\n".join(kept + options) + "\n", encoding="utf-8")
        run("sh", "-c", 'yes "" | "$@" oldconfig', "sh", *make, log=log)
        check_options(options, config, "busybox")
        run(*make, "-j%d" % jobs(), "busybox", log=log)
        run(*make, "busybox.links", log=log)
        shutil.copy(source / "busybox", folder)
        shutil.copy(source / "busybox.links", folder)
        shutil.rmtree(source)
        shutil.rmtree(folder / "apt")

    return cached("busybox", ["busybox " + version, compiler_version(), *options], build)


# ---- the library, and what uses it ----

def build_release(folder, *targets_and_options):
    """What ships, for the board: the targets, by the options."""
    log = folder.with_suffix(".log")
    log.unlink(missing_ok=True)
    options = [word for word in targets_and_options if word.startswith("-")]
    targets = [word for word in targets_and_options if not word.startswith("-")]
    run("cmake", "--preset", "release", "-B", folder, "--toolchain", ROOT / "cmake/toolchains/mips.cmake",
        "-DUSERLIB_BUILD_TOOLS=OFF", *options, cwd=ROOT, log=log)
    run("cmake", "--build", folder, "-j%d" % jobs(), "--target", *targets, cwd=ROOT, log=log)


def build_test_programs():
    log = DEVICE / "tests.log"
    log.unlink(missing_ok=True)
    run("cmake", "--preset", "mips", cwd=ROOT, log=log)
    run("cmake", "--build", "--preset", "mips", "-j%d" % jobs(), "--target", "userlib_tests", *TEST_PROGRAMS, cwd=ROOT,
        log=log)


def build_probes():
    """The small programs beside this file: daemons that are measured, hogs, clocks."""
    folder = DEVICE / "probes"
    shutil.rmtree(folder, ignore_errors=True)
    (folder / "nocert").mkdir(parents=True)
    shutil.copy(RELEASE_NOCERT / "userlib/libuserlib.so.1", folder / "nocert")
    shared = ("-L%s" % (RELEASE / "userlib"), "-luserlib", "-Wl,-rpath-link,%s" % OPENSSL)
    nocert = ("-L%s" % (RELEASE_NOCERT / "userlib"), "-luserlib", "-Wl,-rpath,/tests/nocert")
    static = (RELEASE_NOCERT / "userlib/libuserlib.a", "-Wl,--gc-sections")
    for source in sorted((HERE / "probes").glob("*.c")):
        uses_library = "userlib.h" in source.read_text(encoding="utf-8")
        link_probe(source, folder / source.stem, *(shared if uses_library else ()))
    link_probe(HERE / "probes/idle_userlib.c", folder / "idle_userlib_nocert", *nocert)
    link_probe(HERE / "probes/idle_userlib.c", folder / "idle_userlib_static", *static)
    link_probe(HERE / "probes/idle_userlib.c", folder / "idle_userlib_all_static", *static, "-static")
    link_probe(HERE / "probes/idle_nothing.c", folder / "idle_nothing_static", "-static")
    link_probe(HERE / "probes/idle_nothing.c", folder / "idle_nothing_openssl", "-L%s" % OPENSSL, "-Wl,--no-as-needed",
               "-lssl", "-lcrypto")
    run(CROSS + "strip", "-o", folder / "phoned_all_static", RELEASE_STATIC / "examples/phoned")
    return folder


def link_probe(source, target, *library):
    run(CROSS + "gcc", "-std=gnu99", "-Os", "-Wall", "-Wextra", "-Werror", "-s", "-I", ROOT / "userlib/include", "-o", target,
        source, *library, "-Wl,--as-needed,-z,now,-z,relro")


# ---- file systems ----

def needed_by(program):
    lines = run(CROSS + "readelf", "-d", program).splitlines()
    return [line.split("[")[1].rstrip("]") for line in lines if "(NEEDED)" in line]


def add_libraries(programs, folder):
    """Puts what the programs need at run time into a folder, with what those need."""
    places = [RELEASE / "userlib", OPENSSL, SYSROOT / "lib"]
    folder.mkdir(parents=True, exist_ok=True)
    waiting = ["ld.so.1"] + [name for program in programs for name in needed_by(program)]
    while waiting:
        name = waiting.pop()
        target = folder / name
        if target.exists():
            continue
        found = next((place / name for place in places if (place / name).exists()), None)
        if found is None:
            raise BuildError("no %s in %s" % (name, ", ".join(map(str, places))))
        shutil.copy(found.resolve(), target)
        target.chmod(0o755)
        run(CROSS + "strip", target)
        waiting += needed_by(target)


def make_image(folder, image):
    image.unlink(missing_ok=True)
    run("mksquashfs", folder, image, "-noappend", "-quiet", "-no-progress", "-all-root", "-comp", "gzip",
        log=DEVICE / "squashfs.log")


def make_root(busybox):
    """The system, as it would lie on the device: read-only, and small."""
    root = DEVICE / "root"
    shutil.rmtree(root, ignore_errors=True)
    shutil.copytree(HERE / "root", root, symlinks=True)
    for name in ("bin", "dev", "flash", "lib", "proc", "sys", "tests", "usr/bin", "usr/sbin", "var"):
        (root / name).mkdir(parents=True, exist_ok=True)
    (root / "tmp").symlink_to("var/tmp")
    shutil.copy(busybox / "busybox", root / "bin")
    for link in (busybox / "busybox.links").read_text(encoding="utf-8").split():
        place = root / link.lstrip("/")
        place.parent.mkdir(parents=True, exist_ok=True)
        if not place.exists():
            place.symlink_to("/bin/busybox")
    programs = [root / "bin/busybox"]
    for program, place in (("phoned", "usr/sbin"), ("phonectl", "usr/bin")):
        target = root / place / program
        run(CROSS + "strip", "-o", target, RELEASE / "examples" / program)
        programs.append(target)
    add_libraries(programs, root / "lib")
    make_image(root, DEVICE / "root.squashfs")


def make_tests(probes):
    """What only tests need, on a disk of its own."""
    folder = DEVICE / "tests"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    for program in ("userlib_tests", *TEST_PROGRAMS):
        run(CROSS + "strip", "-o", folder / program, TESTS / "tests" / program)
    shutil.copytree(probes, folder, dirs_exist_ok=True)
    shutil.copytree(ROOT / "examples/phoned/demo", folder / "demo")
    make_image(folder, DEVICE / "tests.squashfs")


@contextlib.contextmanager
def alone():
    """Two builds at once would take each other's files away: the second one waits."""
    DEVICE.mkdir(parents=True, exist_ok=True)
    with open(DEVICE / "lock", "w", encoding="utf-8") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            say("waiting for another build")
            fcntl.flock(lock, fcntl.LOCK_EX)
        yield


def is_built():
    """Whether there is all that a board is made of, right or not."""
    return all((DEVICE / name).exists() for name in ("vmlinux", "root.squashfs", "tests.squashfs"))


def build():
    """Builds all that the board needs."""
    run(ROOT / "scripts/setup", "--target", "device")
    with alone():
        build_alone()


def build_alone():
    results, problems = {}, []

    def lane(*steps):
        try:
            for name, step in steps:
                results[name] = step()
        except Exception as problem:  # a thread's own would get lost
            problems.append(problem)

    lanes = [threading.Thread(target=lane, args=steps) for steps in (
        [("kernel", build_kernel)],
        [("openssl", lambda: run(ROOT / "scripts/cross-openssl", "mips", log=DEVICE / "openssl.log")),
         ("busybox", build_busybox), ("release", lambda: build_release(RELEASE, "userlib", "phoned", "phonectl")),
         ("nocert", lambda: build_release(RELEASE_NOCERT, "userlib", "userlib_static", "-DUSERLIB_CERT=OFF")),
         ("static", lambda: build_release(RELEASE_STATIC, "phoned", "-DUSERLIB_CERT=OFF", "-DBUILD_SHARED_LIBS=OFF",
                                          "-DCMAKE_EXE_LINKER_FLAGS=-static")),
         ("tests", build_test_programs), ("probes", build_probes)])]
    for thread in lanes:
        thread.start()
    for thread in lanes:
        thread.join()
    if problems:
        raise problems[0]
    shutil.copy(results["kernel"], DEVICE / "vmlinux")
    make_root(results["busybox"])
    make_tests(results["probes"])
