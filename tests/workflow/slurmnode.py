"""A Slurm of one node on the loopback, in a folder of its own: for tests."""

from __future__ import annotations

import os
import pwd
import shutil
import signal
import socket
import subprocess
import time
from pathlib import Path

# Debian puts the daemons where an ordinary user's PATH does not reach.
SYSTEM = "/usr/sbin:/sbin"
PATIENCE = 60.0  # seconds

CONFIGURATION = """
ClusterName=test
SlurmctldHost=localhost(127.0.0.1)
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket
CredType=cred/munge
SlurmctldPort={controller}
SlurmdPort={node}
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
SlurmctldLogFile={folder}/slurmctld.log
SlurmdLogFile={folder}/slurmd.log
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
ProctrackType=proctrack/pgid
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
MpiDefault=none
ReturnToService=2
SchedulerParameters=sched_interval=1
SlurmdParameters=config_overrides
SlurmctldTimeout=300
SlurmdTimeout=300
KillWait=2
MinJobAge=300
NodeName=localhost NodeAddr=127.0.0.1 CPUs={cpus} RealMemory=8000 State=UNKNOWN
PartitionName=short Nodes=localhost Default=YES MaxTime=INFINITE State=UP
"""


def missing() -> list[str]:
    """Programs that a Slurm needs and this system does not have."""
    path = os.environ["PATH"] + ":" + SYSTEM
    return [name for name in ("munged", "slurmctld", "slurmd", "sbatch", "scontrol", "scancel")
            if not shutil.which(name, path=path)]


def freeports(count: int) -> list[int]:
    sockets = [socket.socket() for _ in range(count)]
    try:
        for one in sockets:
            one.bind(("127.0.0.1", 0))
        return [one.getsockname()[1] for one in sockets]
    finally:
        for one in sockets:
            one.close()


class SlurmNode:
    """Starts with `with`, ends with it, and takes all its daemons and jobs along."""

    def __init__(self, folder: Path, cpus: int) -> None:
        self.folder = folder
        self.cpus = cpus
        self.daemons: dict[str, subprocess.Popen] = {}
        self.environment = os.environ | {"SLURM_CONF": str(folder / "slurm.conf"),
                                         "PATH": os.environ["PATH"] + ":" + SYSTEM}

    def __enter__(self) -> SlurmNode:
        self.folder.mkdir()
        self.folder.chmod(0o755)
        for name in ("state", "spool"):
            (self.folder / name).mkdir()
        controller, node = freeports(2)
        (self.folder / "slurm.conf").write_text(CONFIGURATION.format(
            user=pwd.getpwuid(os.getuid()).pw_name, folder=self.folder, controller=controller,
            node=node, cpus=self.cpus))
        (self.folder / "key").write_bytes(os.urandom(128))
        (self.folder / "key").chmod(0o600)
        try:
            self._start("munged", "--force", "--foreground", f"--socket={self.folder}/munge.socket",
                        f"--key-file={self.folder}/key", f"--pid-file={self.folder}/munged.pid",
                        f"--seed-file={self.folder}/seed", f"--log-file={self.folder}/munged.log")
            self._await(lambda: (self.folder / "munge.socket").exists(), "munged")
            self.startcontroller()
            self._start("slurmd", "-D", "-N", "localhost")
            self._await(lambda: "idle" in self.said("sinfo", "-h", "-o", "%T"), "the node")
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_why: object) -> None:
        if "slurmd" in self.daemons and "slurmctld" in self.daemons:
            self.said("scancel", f"--user={os.getuid()}")
        for name in ("slurmctld", "slurmd", "munged"):
            if name in self.daemons:
                self._end(name, signal.SIGKILL)

    def startcontroller(self) -> None:
        self._start("slurmctld", "-D")
        self._await(lambda: "UP" in self.said("scontrol", "ping"), "the controller")

    def killcontroller(self) -> None:
        self._end("slurmctld", signal.SIGKILL)

    def said(self, *line: str) -> str:
        """What a command of Slurm prints."""
        return subprocess.run(line, env=self.environment, capture_output=True, text=True, check=False,
                              timeout=PATIENCE).stdout

    def jobs(self, state: str) -> list[str]:
        return self.said("squeue", "-h", "-o", "%i", f"--states={state}").split()

    def _start(self, *line: str) -> None:
        with open(self.folder / f"{line[0]}.out", "ab") as out:
            self.daemons[line[0]] = subprocess.Popen(line, env=self.environment, stdout=out, stderr=out,
                                                     stdin=subprocess.DEVNULL)

    def _end(self, name: str, how: signal.Signals) -> None:
        daemon = self.daemons.pop(name)
        daemon.send_signal(how)
        daemon.wait()

    def _await(self, condition, what: str) -> None:
        end = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() > end:
                logs = "".join(path.read_text(errors="replace")[-2000:]
                               for path in sorted(self.folder.glob("*.out")))
                raise RuntimeError(f"{what} does not come up:\n{logs}")
            time.sleep(0.2)
