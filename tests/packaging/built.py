"""What the tests of packaging/ look at: the tree, what it has built, and its version."""

import os
import pathlib
import subprocess
import sys

VERSION = sys.argv.pop(3)
BUILT = pathlib.Path(sys.argv.pop(2))
ROOT = pathlib.Path(sys.argv.pop(1))
SHARE = BUILT / "share"
sys.path.insert(0, str(ROOT / "packaging"))


def said(*command, **environment):
    """What a program says on its standard output; it has to succeed, and to say nothing else."""
    done = subprocess.run(command, capture_output=True, text=True, check=False, env={**os.environ, **environment})
    if done.returncode or done.stderr:
        raise AssertionError(f"{command} ended with {done.returncode}: {done.stderr}")
    return done.stdout


def help_of(command):
    return said(BUILT / "bin" / "velkmtx", *command.split()[1:], "--help")
