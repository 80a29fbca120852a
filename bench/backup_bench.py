#!/usr/bin/env python3
"""Backup and restore speed and memory against stock tools.

Generates data folders deterministically, then times, side by side in one run
on the same folder:

  creation:    corvina-backup create
               vs. zip -0 -r -y, openssl enc -aes-256-cbc (same key and IV), sync of its output
  restoration: corvina-backup restore
               vs. openssl enc -d -aes-256-cbc, unzip, sync of the target's file system

and prints the wall-time ratio (ours / baseline) and both peak RSS figures.
Each pair runs several times, alternating, and the medians are compared.

    bench/backup_bench.py --tool build/release/src/cli/corvina-backup [--scale 0.1]
"""

import argparse
import hashlib
import os
import random
import shutil
import statistics
import subprocess
import tempfile
import sys
import time
from pathlib import Path

PASSWORD = "bench-password"
INTERNAL_KEY = "PlainWordsMakeTheArchiveKey5678?"
SALT = b"SingleGrit"
IV = b"qwertzuiopasdfgh"
MIB = 1024 * 1024


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
    sizes = [int(s * MIB * scale) for s in (128, 96, 48)]
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


DATASETS = {
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


def run_measured(commands, cwd=None):
    """Runs shell commands in sequence; returns (seconds, peak RSS in KiB of any of them).

    Each command runs under /usr/bin/time: a child forked from this Python
    process would start its high-water mark at Python's own size."""
    peak = 0
    start = time.perf_counter()
    with tempfile.NamedTemporaryFile(mode="r") as report:
        for command in commands:
            proc = subprocess.run(["/usr/bin/time", "-f", "%M", "-o", report.name, "sh", "-c", command],
                                  cwd=cwd, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
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


def median_pair(rounds, ours, baseline, reset):
    ours_t, ours_m, base_t, base_m = [], [], [], []
    for _ in range(rounds):
        for runner, times, peaks in ((baseline, base_t, base_m), (ours, ours_t, ours_m)):
            reset()
            t, m = runner()
            times.append(t)
            peaks.append(m)
    reset()
    return (statistics.median(ours_t), max(ours_m), statistics.median(base_t), max(base_m))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--tool", required=True, help="path to the corvina-backup executable")
    parser.add_argument("--work", default="/var/tmp/corvina-bench", help="scratch folder (not tmpfs)")
    parser.add_argument("--scale", type=float, default=1.0, help="fraction of the full data sizes")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--only", choices=sorted(DATASETS), action="append")
    args = parser.parse_args()

    tool = Path(args.tool).resolve()
    work = Path(args.work)
    work.mkdir(parents=True, exist_ok=True)
    pattern = Pattern(1)
    key_hex = archive_key_hex(PASSWORD)
    iv_hex = IV.hex()
    password_file = work / "password.txt"
    password_file.write_text(PASSWORD + "\n")

    rows = []
    for name in args.only or DATASETS:
        source_parent = work / f"src-{name}-{args.scale}"
        source = source_parent / "Data"
        if not source.exists():
            print(f"generating {name} ...", file=sys.stderr)
            source.mkdir(parents=True)
            DATASETS[name](source, args.scale, pattern)
        size = folder_size(source)

        out_ours = work / "out-ours"
        out_base = work / "out-base"

        def reset_create():
            clear(out_ours)
            clear(out_base)
            out_ours.mkdir()
            out_base.mkdir()

        def create_ours():
            return run_measured([f"'{tool}' create --source '{source}' --dest '{out_ours}' "
                                 f"--password-file '{password_file}'"])

        def create_base():
            return run_measured([
                f"zip -0 -r -y -q '{out_base}/base.zip' Data",
                f"openssl enc -aes-256-cbc -K {key_hex} -iv {iv_hex} "
                f"-in '{out_base}/base.zip' -out '{out_base}/base.halvorn'",
                f"sync '{out_base}/base.halvorn'",
            ], cwd=source_parent)

        c = median_pair(args.rounds, create_ours, create_base, reset_create)
        rows.append((name, "create", size, *c))

        # Both sides restore the same backup, made by our tool.
        backup = work / f"restore-{name}.halvorn"
        reset_create()
        create_ours()
        shutil.move(next(out_ours.glob("Backup_*.halvorn")), backup)
        container_ours = work / "container-ours"
        container_base = work / "container-base"

        def reset_restore():
            clear(out_ours)
            clear(out_base)
            for c_dir in (container_ours, container_base):
                clear(c_dir)
                c_dir.mkdir()

        def restore_ours():
            return run_measured([f"'{tool}' restore --backup '{backup}' --container '{container_ours}' "
                                 f"--password-file '{password_file}'"])

        def restore_base():
            return run_measured([
                f"openssl enc -d -aes-256-cbc -K {key_hex} -iv {iv_hex} "
                f"-in '{backup}' -out '{container_base}/.decryptedArchive.zip'",
                f"unzip -q '{container_base}/.decryptedArchive.zip' -d '{container_base}/.TempData'",
                f"sync -f '{container_base}'",
            ])

        r = median_pair(args.rounds, restore_ours, restore_base, reset_restore)
        rows.append((name, "restore", size, *r))

    print()
    print(f"{'data':<12} {'operation':<9} {'MiB':>8} {'ours s':>8} {'base s':>8} {'time ratio':>10} "
          f"{'ours RSS MiB':>12} {'base RSS MiB':>12}")
    for name, op, size, ot, om, bt, bm in rows:
        print(f"{name:<12} {op:<9} {size / MIB:8.1f} {ot:8.2f} {bt:8.2f} {ot / bt:10.2f} "
              f"{om / 1024:12.1f} {bm / 1024:12.1f}")
    print("baseline: zip -0 -r -y + openssl enc -aes-256-cbc + sync (create); "
          "openssl enc -d + unzip + sync (restore)")


if __name__ == "__main__":
    main()
