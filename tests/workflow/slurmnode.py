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
from typing import Callable

# Debian puts the daemons where an ordinary user's PATH does not reach.
SYSTEM = "/usr/sbin:/sbin"
PATIENCE = 600.0  # seconds

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
ProctrackType=proctrack/linuxproc
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


# No plugin above uses control groups, but the daemon of the node looks for those that systems have, and ends where
# there are none, if it is not told of which kind they are.
CONTROLGROUPS = "CgroupPlugin=cgroup/v1\nCgroupAutomount=no\n"


def missing() -> list[str]:
    """What a Slurm needs and this system does not have: programs, and a name of the user."""
    path = os.environ["PATH"] + ":" + SYSTEM
    try:
        pwd.getpwuid(os.getuid())
    except KeyError:
        return ["a name of this user"]
    return [name for name in ("munged", "slurmctld", "slurmd", "sbatch", "scontrol", "scancel")
            if not shutil.which(name, path=path)]


class HeldPorts:
    """Free ports that no other program is given as long as they are held. A daemon may take them: it asks for
    an address that is in use, and these are in use without anyone listening."""

    def __init__(self, count: int) -> None:
        self._sockets = [socket.socket() for _ in range(count)]
        for one in self._sockets:
            one.bind(("127.0.0.1", 0))
            one.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.numbers = [one.getsockname()[1] for one in self._sockets]

    def release(self) -> None:
        for one in self._sockets:
            one.close()


class SlurmNode:
    """Starts with `with`, ends with it, and takes all its daemons and jobs along."""

    def __init__(self, folder: Path, cpus: int) -> None:
        self.folder = folder
        self.cpus = cpus
        self.ports = HeldPorts(2)
        self.daemons: dict[str, subprocess.Popen] = {}
        self.environment = os.environ | {"SLURM_CONF": str(folder / "slurm.conf"),
                                         "PATH": os.environ["PATH"] + ":" + SYSTEM}

    def __enter__(self) -> SlurmNode:
        self.folder.mkdir()
        self.folder.chmod(0o755)
        for name in ("state", "spool"):
            (self.folder / name).mkdir()
        controller, node = self.ports.numbers
        (self.folder / "slurm.conf").write_text(CONFIGURATION.format(
            user=pwd.getpwuid(os.getuid()).pw_name, folder=self.folder, controller=controller,
            node=node, cpus=self.cpus))
        (self.folder / "cgroup.conf").write_text(CONTROLGROUPS)
        (self.folder / "key").write_bytes(os.urandom(128))
        (self.folder / "key").chmod(0o600)
        try:
            self._start("munged", "--force", "--foreground", f"--socket={self.folder}/munge.socket",
                        f"--key-file={self.folder}/key", f"--pid-file={self.folder}/munged.pid",
                        f"--seed-file={self.folder}/seed", f"--log-file={self.folder}/munged.log")
            self._await("munged", (self.folder / "munge.socket").exists)
            self.startcontroller()
            self._start("slurmd", "-D", "-N", "localhost")
            self._await("slurmd", lambda: "idle" in self.said("sinfo", "-h", "-o", "%T"))
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
        self.ports.release()

    def startcontroller(self) -> None:
        self._start("slurmctld", "-D")
        self._await("slurmctld", lambda: "UP" in self.said("scontrol", "ping"))

    def killcontroller(self) -> None:
        self._end("slurmctld", signal.SIGKILL)

    def savejobs(self) -> None:
        """Waits until the controller has saved all that it knows now of the jobs that run. It saves them some
        seconds after each change. The first that is saved may have been gathered before; the second was
        not."""
        saved = self.folder / "state" / "job_state"
        for number in range(2):
            before = saved.stat() if saved.exists() else None
            for job in self.jobs("R"):
                self.said("scontrol", "update", f"JobId={job}", f"Comment=saved{number}")
            self._await("slurmctld", lambda old=before: saved.exists()
                        and (not old or saved.stat().st_mtime_ns > old.st_mtime_ns))

    def said(self, *line: str) -> str:
        """What a command of Slurm prints."""
        return self._ran(*line).stdout

    def jobs(self, state: str) -> list[str]:
        """The numbers of the jobs in a state. A controller that is too busy to tell is asked again."""
        end = time.monotonic() + PATIENCE
        while True:
            told = self._ran("squeue", "-h", "-o", "%i", f"--states={state}")
            if told.returncode == 0:
                return told.stdout.split()
            if time.monotonic() > end:
                raise RuntimeError(f"The controller does not tell of its jobs:\n{told.stderr}")
            time.sleep(0.2)

    def _ran(self, *line: str) -> subprocess.CompletedProcess:
        return subprocess.run(line, env=self.environment, capture_output=True, text=True, check=False,
                              timeout=PATIENCE)

    def _start(self, *line: str) -> None:
        with open(self.folder / f"{line[0]}.out", "ab") as out:
            self.daemons[line[0]] = subprocess.Popen(line, env=self.environment, stdout=out, stderr=out,
                                                     stdin=subprocess.DEVNULL)

    def _end(self, name: str, how: signal.Signals) -> None:
        daemon = self.daemons.pop(name)
        daemon.send_signal(how)
        daemon.wait()

    def _await(self, name: str, condition: Callable[[], bool]) -> None:
        """Waits until a daemon has done something."""
        end = time.monotonic() + PATIENCE
        while not condition():
            if self.daemons[name].poll() is not None or time.monotonic() > end:
                logs = "".join(path.read_text(errors="replace")[-2000:]
                               for path in sorted(self.folder.glob("*.out")))
                raise RuntimeError(f"{name} does not do its work:\n{logs}")
            time.sleep(0.2)
