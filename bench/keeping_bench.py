#!/usr/bin/env python3
"""Disk that keeping saves: 30 daily automatic backups of the mixed data folder.

Runs the timer's own command (corvina-backup schedule run) 30 times in a
private home, each backup renamed afterwards to the next day's name as if a
day had passed, with the schedule keeping 14. Prints the storage folder's
size at the end against the size all 30 backups would take without keeping.
Run it inside scripts/with-keyring.sh (the run reads the keyring).

    bench/keeping_bench.py --tool build/release/src/cli/corvina-backup [--scale 1] [--days 30] [--keep 14]
"""

import argparse
import os
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from backup_bench import MIB, Pattern, folder_size, make_mixed  # noqa: E402


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True)
    parser.add_argument("--scale", type=float, default=1.0)
    parser.add_argument("--days", type=int, default=30)
    parser.add_argument("--keep", type=int, default=14)
    args = parser.parse_args()

    with tempfile.TemporaryDirectory(prefix="keeping-bench-") as scratch:
        home = Path(scratch)
        data = home / "Library/Containers/de.halvorn/Data"
        storage = home / "Backups"
        data.mkdir(parents=True)
        storage.mkdir()
        make_mixed(data, args.scale, Pattern(1))
        env = dict(os.environ, HOME=str(home), XDG_CONFIG_HOME=str(home / ".config"),
                   XDG_STATE_HOME=str(home / ".local/state"))
        settings = home / ".config/de.Corvina-Backup-Manager/Corvina-Backup-Manager.conf"
        settings.parent.mkdir(parents=True)
        settings.write_text(f"[General]\nsavedPathKey={storage}\n")
        subprocess.run([args.tool, "schedule", "enable", "--daily", "--keep", str(args.keep)],
                       env=env, check=True, stdout=subprocess.DEVNULL)

        written = 0
        for day in range(1, args.days + 1):
            run = subprocess.run([args.tool, "schedule", "run"], env=env, check=True,
                                 capture_output=True, text=True)
            backup = Path(run.stdout.strip().splitlines()[-1])
            written += backup.stat().st_size
            dated = storage / f"Backup_2025-{1 + (day - 1) // 28:02d}-{1 + (day - 1) % 28:02d}_03-00-00.halvorn"
            backup.rename(dated)
            companion = backup.with_name("._" + backup.name)
            if companion.exists():
                companion.rename(dated.with_name("._" + dated.name))
        kept = folder_size(storage)
        left = len(list(storage.glob("Backup_*.halvorn")))
        print(f"mixed data: {folder_size(data) / MIB:.0f} MiB, {args.days} daily runs, keep {args.keep}")
        print(f"without keeping: {written / MIB:.0f} MiB in {args.days} backups")
        print(f"with keeping:    {kept / MIB:.0f} MiB in {left} backups")
        print(f"saved:           {(written - kept) / MIB:.0f} MiB, ratio kept/written {kept / written:.3f}")


if __name__ == "__main__":
    main()
