#!/usr/bin/env python3
"""Backup and restore speed and memory against stock tools and the machine's limit.

Generates data folders deterministically (large files, a mixed tree, many
small files), then times in one run, in rounds whose order rotates so that no
contender always runs on a cold or a warm machine:

  create   ours:      corvina-backup create (durable: it syncs its own file)
           pipeline:  tar -cf - Data | openssl enc -aes-256-cbc, then sync of the output
           aes:       openssl enc -aes-256-cbc over the backup's plaintext to /dev/null
           copy:      cat of every data file into one file, then sync of it
           restic, borg: a fresh repository each round, where installed
  restore  ours:      corvina-backup restore into an empty container
           pipeline:  openssl enc -d | tar -x, then sync of the file system
           aes:       openssl enc -d over our backup to /dev/null
           copy:      cat of our backup into one file, then sync of it
           restic, borg: restore of the repository made once, where installed
           baseline:  with --baseline, another build's corvina-backup restore of
                      the same backup in the same rounds, to price a change

The physical limit of a row is the larger of `aes` and `copy`. Each time is
the median of the rounds, each memory figure the peak RSS of the largest
process of any round (/usr/bin/time). On the large shape, creation also runs
with the progress line shown on a pseudo terminal, to price the reporting.

    bench/backup_bench.py --tool build/release/src/cli/corvina-backup [--scale 0.5]
"""

import argparse
import hashlib
import os
import random
import shlex
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

PASSWORD = "bench-password"
INTERNAL_KEY = "PlainWordsMakeTheArchiveKey5678?"
SALT = b"SingleGrit"
IV = b"qwertzuiopasdfgh"
MIB = 1024 * 1024
RSS_LIMIT_MIB = 64


def archive_key_hex(password: str) -> str:
    key = hashlib.pbkdf2_hmac("sha256", (password + INTERNAL_KEY).encode(), SALT, 10000, 32)
    return key.hex()


class Pattern:
    """Deterministic incompressible bytes: one random block, read at shifting offsets."""

    def __init__(self, seed: int):
        rng = random.Random(seed)
        self.block = rng.randbytes(4 * MIB)
        self.doubled = self.block + self.block

    def write(self, path: Path, size: int, salt: int):
        offset = (salt * 7919) % len(self.block)
        with open(path, "wb") as f:
            remaining = size
            while remaining > 0:
                n = min(remaining, len(self.block))
                f.write(self.doubled[offset:offset + n])
                remaining -= n
                offset = (offset + 4099) % len(self.block)


def make_large(root: Path, scale: float, pattern: Pattern):
    sizes = [int(s * MIB * scale) for s in (512, 256, 160, 96)]
    for i, size in enumerate(sizes):
        pattern.write(root / f"large-{i}.bin", size, i)


def make_mixed(root: Path, scale: float, pattern: Pattern):
    rng = random.Random(2)
    count = max(20, int(2000 * scale))
    for i in range(count):
        folder = root / f"dir{i % 40:02d}" / f"sub{i % 7}"
        folder.mkdir(parents=True, exist_ok=True)
        size = rng.randint(4 * 1024, 512 * 1024)
        pattern.write(folder / f"file-{i:05d}.dat", size, i)


def make_many(root: Path, scale: float, pattern: Pattern):
    count = max(100, int(100_000 * scale))
    for i in range(count):
        folder = root / f"d{i // 1000:03d}"
        if i % 1000 == 0:
            folder.mkdir(parents=True, exist_ok=True)
        with open(folder / f"f{i:06d}.txt", "wb") as f:
            start = (i * 131) % (len(pattern.block) - 1024)
            f.write(pattern.block[start:start + 1024])


SHAPES = {
    "large": make_large,
    "mixed": make_mixed,
    "100k-small": make_many,
}


def folder_size(root: Path) -> int:
    total = 0
    for dirpath, _, files in os.walk(root):
        for name in files:
            total += os.lstat(os.path.join(dirpath, name)).st_size
    return total


def load() -> str:
    return "load %.2f %.2f %.2f" % os.getloadavg()


def run_measured(commands, cwd=None, env=None):
    """Runs shell commands in sequence; returns (seconds, peak RSS in KiB of any of them).

    Each command runs under /usr/bin/time: a child forked from this Python
    process would start its high-water mark at Python's own size."""
    peak = 0
    start = time.perf_counter()
    with tempfile.NamedTemporaryFile(mode="r") as report:
        for command in commands:
            proc = subprocess.run(["/usr/bin/time", "-f", "%M", "-o", report.name, "sh", "-c", command],
                                  cwd=cwd, env=env, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.PIPE)
            if proc.returncode != 0:
                err = proc.stderr.decode(errors="replace")
                raise RuntimeError(f"command failed ({proc.returncode}): {command}\n{err}")
            report.seek(0)
            peak = max(peak, int(report.read().split()[-1]))
    return time.perf_counter() - start, peak


def clear(path: Path):
    if path.is_dir() and not path.is_symlink():
        shutil.rmtree(path)
    elif path.exists() or path.is_symlink():
        path.unlink()


class Retired:
    """Trees of earlier rounds, moved aside rather than deleted until the end.

    An ext4 file system without a journal (as on this machine) skips inodes
    freed within the last minutes when it allocates new ones, and looks at
    each of them: creating 100,000 files right after deleting 100,000 others
    costs several times as long, whoever does it. Deleting nothing until the
    run is over keeps that out of every contender's time."""

    folder: Path = Path()
    count = 0


def fresh(*paths: Path):
    for path in paths:
        if path.exists() or path.is_symlink():
            Retired.folder.mkdir(parents=True, exist_ok=True)
            Retired.count += 1
            path.rename(Retired.folder / str(Retired.count))
        path.mkdir(parents=True)


class Contender:
    """One way of doing the work: `prepare` runs untimed before each round, `commands` timed."""

    def __init__(self, name, commands, prepare=lambda: None, cwd=None, env=None):
        self.name, self.commands, self.prepare, self.cwd, self.env = name, commands, prepare, cwd, env
        self.times, self.peaks = [], []

    def run(self):
        self.prepare()
        t, m = run_measured(self.commands, self.cwd, self.env)
        self.times.append(t)
        self.peaks.append(m)

    def median(self):
        return statistics.median(self.times)

    def peak_mib(self):
        return max(self.peaks) / 1024


def run_rounds(rounds, contenders):
    for r in range(rounds):
        shift = r % len(contenders)
        for contender in contenders[shift:] + contenders[:shift]:
            contender.run()


def sh(*words) -> str:
    return " ".join(shlex.quote(str(w)) for w in words)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--tool", required=True, help="path to the corvina-backup executable")
    parser.add_argument("--work", default="/var/tmp/corvina-bench", help="scratch folder (not tmpfs)")
    parser.add_argument("--scale", type=float, default=1.0, help="fraction of the full data sizes")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--only", choices=sorted(SHAPES), action="append")
    parser.add_argument("--baseline", help="another corvina-backup whose restore is timed beside ours")
    args = parser.parse_args()

    tool = Path(args.tool).resolve()
    work = Path(args.work)
    work.mkdir(parents=True, exist_ok=True)
    pattern = Pattern(1)
    key_hex = archive_key_hex(PASSWORD)
    enc = f"openssl enc -aes-256-cbc -K {key_hex} -iv {IV.hex()}"
    password_file = work / "password.txt"
    password_file.write_text(PASSWORD + "\n")
    tool_env = dict(os.environ, RESTIC_PASSWORD=PASSWORD, BORG_PASSPHRASE=PASSWORD,
                    BORG_RELOCATED_REPO_ACCESS_IS_OK="yes")
    restic, borg, script = shutil.which("restic"), shutil.which("borg"), shutil.which("script")
    out = work / "out"
    container = work / "container"
    # One repository each: a restore must find the repository its own tool made.
    restic_repo, borg_repo = work / "repo-restic", work / "repo-borg"
    Retired.folder = work / "retired"
    clear(Retired.folder)

    print(f"start: {load()}, {os.cpu_count()} cores", file=sys.stderr)
    rows, notes = [], []
    for name in args.only or SHAPES:
        parent = work / f"src-{name}-{args.scale}"
        source = parent / "Data"
        if not source.exists():
            print(f"generating {name} ...", file=sys.stderr)
            source.mkdir(parents=True)
            SHAPES[name](source, args.scale, pattern)
            # A data folder at rest: files written within the last seconds
            # count as in use, and the backup copies them aside first.
            rest = time.time() - 3600
            for d, _, fs in os.walk(source):
                for f in fs:
                    os.utime(os.path.join(d, f), (rest, rest))
        size = folder_size(source)
        files = work / f"files-{name}.txt"
        files.write_text("".join(os.path.join(d, f) + "\0" for d, _, fs in os.walk(source) for f in fs))
        before = load()

        # The backup both restore sides start from, and its plaintext for the cipher alone.
        backup = work / f"backup-{name}.halvorn"
        pipeline_backup = work / f"backup-{name}.tar.enc"
        plaintext = work / f"plain-{name}.zip"
        fresh(out)
        run_measured([sh(tool, "create", "--source", source, "--dest", out, "--password-file", password_file)])
        shutil.move(next(out.glob("Backup_*.halvorn")), backup)
        run_measured([f"{enc} -d -in {sh(backup)} -out {sh(plaintext)}",
                      f"tar -cf - Data | {enc} -out {sh(pipeline_backup)}"], cwd=parent)

        create_ours = sh(tool, "create", "--source", source, "--dest", out, "--password-file", password_file)
        creators = [
            Contender("ours", [create_ours], lambda: fresh(out)),
            Contender("pipeline", [f"tar -cf - Data | {enc} -out {sh(out / 'b.tar.enc')}",
                                   sh("sync", out / "b.tar.enc")], lambda: fresh(out), cwd=parent),
            Contender("aes", [f"{enc} -in {sh(plaintext)} -out /dev/null"]),
            Contender("copy", [f"xargs -0 cat < {sh(files)} > {sh(out / 'copy')}", sh("sync", out / "copy")],
                      lambda: fresh(out)),
        ]
        if name == "large" and script:
            creators.append(Contender("ours+progress", [sh(script, "-qefc", create_ours, "/dev/null")],
                                      lambda: fresh(out)))
        if restic:
            creators.append(Contender("restic", [sh(restic, "-q", "-r", restic_repo, "backup", "Data"),
                                                 sh("sync", "-f", restic_repo)],
                                      lambda: (clear(restic_repo),
                                               run_measured([sh(restic, "-q", "-r", restic_repo, "init")],
                                                                         env=tool_env)),
                                      cwd=parent, env=tool_env))
        if borg:
            creators.append(Contender("borg", [sh(borg, "create", f"{borg_repo}::b", "Data"),
                                               sh("sync", "-f", borg_repo)],
                                      lambda: (clear(borg_repo),
                                               run_measured([sh(borg, "init", "-e", "repokey", borg_repo)],
                                                                         env=tool_env)),
                                      cwd=parent, env=tool_env))
        run_rounds(args.rounds, creators)
        rows.append((name, "create", size, {c.name: c for c in creators}, before, load()))

        before = load()
        restorers = [
            Contender("ours", [sh(tool, "restore", "--backup", backup, "--container", container,
                                  "--password-file", password_file)], lambda: fresh(container)),
            Contender("pipeline", [f"{enc} -d -in {sh(pipeline_backup)} | tar -x -C {sh(container)}",
                                   sh("sync", "-f", container)], lambda: fresh(container)),
            Contender("aes", [f"{enc} -d -in {sh(backup)} -out /dev/null"]),
            Contender("copy", [f"cat {sh(backup)} > {sh(container / 'copy')}", sh("sync", container / "copy")],
                      lambda: fresh(container)),
        ]
        if args.baseline:
            restorers.append(Contender("baseline", [sh(Path(args.baseline).resolve(), "restore", "--backup", backup,
                                                       "--container", container, "--password-file",
                                                       password_file)], lambda: fresh(container)))
        for tool_name, repo, make, restore in (
                (restic, restic_repo,
                 lambda: [sh(restic, "-q", "-r", restic_repo, "init"),
                          sh(restic, "-q", "-r", restic_repo, "backup", "Data")],
                 lambda: [sh(restic, "-q", "-r", restic_repo, "restore", "latest", "--target", container),
                          sh("sync", "-f", container)]),
                (borg, borg_repo,
                 lambda: [sh(borg, "init", "-e", "repokey", borg_repo),
                          sh(borg, "create", f"{borg_repo}::b", "Data")],
                 lambda: [sh(borg, "extract", f"{borg_repo}::b"), sh("sync", "-f", container)])):
            if tool_name:
                clear(repo)
                run_measured(make(), cwd=parent, env=tool_env)
                restorers.append(Contender(Path(tool_name).name, restore(), lambda: fresh(container),
                                           cwd=container, env=tool_env))
        run_rounds(args.rounds, restorers)
        rows.append((name, "restore", size, {c.name: c for c in restorers}, before, load()))
        fresh(container, out)
        clear(restic_repo)
        clear(borg_repo)
    clear(Retired.folder)

    others = [n for n in ("restic", "borg") if any(n in r[3] for r in rows)]
    header = (f"{'data':<11} {'op':<8} {'MiB':>7} {'ours s':>7} {'pipe s':>7} {'aes s':>6} {'copy s':>7} "
              f"{'limit':>6} " + "".join(f"{n + ' s':>9}" for n in others) +
              f" {'/limit':>7} {'/pipe':>6} {'RSS ours':>9} {'RSS pipe':>9}  targets")
    print()
    print(header)
    for name, op, size, c, before, after in rows:
        ours, pipe = c["ours"].median(), c["pipeline"].median()
        limit = max(c["aes"].median(), c["copy"].median())
        rss = c["ours"].peak_mib()
        if name == "100k-small":
            met = ours <= pipe
            goal = "<= pipeline"
        else:
            met = ours <= 1.3 * limit and ours <= 0.7 * pipe
            goal = "<= 1.3 limit, <= 0.7 pipeline"
        met_rss = rss <= RSS_LIMIT_MIB
        print(f"{name:<11} {op:<8} {size / MIB:7.1f} {ours:7.2f} {pipe:7.2f} {c['aes'].median():6.2f} "
              f"{c['copy'].median():7.2f} {limit:6.2f} " +
              "".join(f"{c[n].median():9.2f}" if n in c else f"{'-':>9}" for n in others) +
              f" {ours / limit:7.2f} {ours / pipe:6.2f} {rss:9.1f} {c['pipeline'].peak_mib():9.1f}  "
              f"time {'met' if met else 'MISSED'} ({goal}), RSS {'met' if met_rss else 'MISSED'}")
        notes.append(f"{name} {op}: {before} before, {after} after")
        if "baseline" in c:
            base = c["baseline"].median()
            notes.append(f"{name} {op}: ours {ours:.2f} s against the baseline's {base:.2f} s, "
                         f"ratio {ours / base:.3f}")
        if "ours+progress" in c:
            shown = c["ours+progress"].median()
            notes.append(f"{name} {op}: progress shown on a terminal {shown:.2f} s against {ours:.2f} s, "
                         f"cost {100 * (shown - ours) / ours:+.1f} % (goal < 2 %)")
    print()
    print("limit = max(aes, copy); RSS in MiB of the largest process; times are medians of "
          f"{args.rounds} rounds; scale {args.scale}")
    for note in notes:
        print(note)
    print(f"end: {load()}")


if __name__ == "__main__":
    main()
