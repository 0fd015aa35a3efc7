"""A network link as cameras meet it, for tests and benchmarks: a veth pair
between the calling process's network namespace and a camera namespace made
for the purpose, rate-limited on both sides (tbf) and, when asked, dropping
a random fraction of the UDP packets the camera sends from any port but the
control port (nftables `numgen random`). Nothing leaves the two namespaces.

Needs root. The caller is expected to be in a private network namespace
already (examples/grab.py's enter_private_network): the host side of the
link is created there.

    with Link(loss=0.01) as link:
        camera = link.start([sim_camera, "--address", link.camera_address])
"""

from __future__ import annotations

import os
import subprocess
from typing import Sequence

GVCP_PORT = 3956


def _run(*command: str) -> None:
    subprocess.run(command, check=True, capture_output=True, timeout=30)


class Link:
    """One link; `camera_address` lives in the camera namespace,
    `host_address` in the caller's. Both are on `subnet`.0/24, unless
    `camera_subnet` puts the camera on another one (a camera whose address
    does not fit the network it was plugged into): it then still reaches
    the host's subnet directly on the link, as a camera without routing
    does."""

    def __init__(self, rate: str = "1gbit", loss: float = 0.0, subnet: str = "192.168.77",
                 camera_subnet: str | None = None, name: str | None = None) -> None:
        if not 0.0 <= loss <= 1.0:
            raise ValueError(f"loss {loss} is not a fraction")
        self.rate = rate
        self.loss = loss
        self.namespace = name or f"kyrcam{os.getpid()}"
        self.subnet = subnet
        self.host_address = f"{subnet}.1"
        self.camera_address = f"{camera_subnet or subnet}.2"
        self._host_link = f"kh{os.getpid() % 100000}"
        self._camera_link = f"kc{os.getpid() % 100000}"
        self._processes: list[subprocess.Popen[bytes]] = []

    def __enter__(self) -> Link:
        _run("ip", "netns", "add", self.namespace)
        try:
            _run("ip", "link", "add", self._host_link, "type", "veth", "peer", "name", self._camera_link,
                 "netns", self.namespace)
            _run("ip", "addr", "add", f"{self.host_address}/24", "dev", self._host_link)
            _run("ip", "link", "set", self._host_link, "up")
            self.exec("ip", "link", "set", "lo", "up")
            self.exec("ip", "addr", "add", f"{self.camera_address}/24", "dev", self._camera_link)
            self.exec("ip", "link", "set", self._camera_link, "up")
            if not self.camera_address.startswith(f"{self.subnet}."):
                self.exec("ip", "route", "add", f"{self.subnet}.0/24", "dev", self._camera_link)
                # The host takes the answers of an address it has no route to.
                for setting in ("all", "default", self._host_link):
                    _run("sysctl", "-qw", f"net.ipv4.conf.{setting}.rp_filter=0")
            # A queue deep enough for a whole large frame: a camera sends a
            # frame as one burst, the shaper spreads it at the link's rate.
            shaper = ["root", "tbf", "rate", self.rate, "burst", "256kb", "limit", "32mb"]
            _run("tc", "qdisc", "add", "dev", self._host_link, *shaper)
            self.exec("tc", "qdisc", "add", "dev", self._camera_link, *shaper)
            self.exec("nft", "add table inet kyrlink")
            self.exec("nft", "add chain inet kyrlink out { type filter hook output priority 0; }")
            self.set_loss(self.loss)
        except BaseException:
            self.__exit__(None, None, None)
            raise
        return self

    def __exit__(self, *exc: object) -> None:
        for process in self._processes:
            process.terminate()
        for process in self._processes:
            try:
                process.wait(timeout=10)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        self._processes.clear()
        # Deleting the namespace deletes its end of the pair, and so both.
        subprocess.run(["ip", "netns", "del", self.namespace], capture_output=True, timeout=30)

    def exec(self, *command: str) -> None:
        """Runs a command in the camera namespace and waits for it."""
        _run("ip", "netns", "exec", self.namespace, *command)

    def start(self, command: Sequence[str], **popen: object) -> subprocess.Popen[bytes]:
        """Starts a program (a camera) in the camera namespace; it is
        stopped when the link goes."""
        process: subprocess.Popen[bytes] = subprocess.Popen(
            ["ip", "netns", "exec", self.namespace, *command], **popen)  # type: ignore[call-overload]
        self._processes.append(process)
        return process

    def set_loss(self, loss: float) -> None:
        """Drops `loss` of the camera's UDP packets from now on, control
        answers excepted, in steps of 1/10000."""
        self.exec("nft", "flush chain inet kyrlink out")
        per_10000 = round(loss * 10000)
        if per_10000 > 0:
            self.exec("nft", f"add rule inet kyrlink out udp sport != {GVCP_PORT} "
                             f"numgen random mod 10000 < {per_10000} drop")
        self.loss = loss
