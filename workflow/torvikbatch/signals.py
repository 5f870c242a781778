"""The signals that end the work, and how they are held back while a child is started: amid that, a signal
would leave a child that nobody knows of."""

from __future__ import annotations

import signal

STOPPING = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


def hold() -> None:
    """Keeps them waiting."""
    signal.pthread_sigmask(signal.SIG_BLOCK, STOPPING)


def hear() -> None:
    """Lets come what was held back."""
    signal.pthread_sigmask(signal.SIG_UNBLOCK, STOPPING)
