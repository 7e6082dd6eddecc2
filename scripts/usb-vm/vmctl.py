#!/usr/bin/env python3
"""Boots the USB guest and serves it until its checks are done.

The guest drives the checks (scripts/usb-vm/guest-tests.sh); this side does
what only the host can: it starts hygrotab-sim on a host pseudo-terminal for
each emulated logger, plugs QEMU's emulated FT232 (usb-serial on qemu-xhci)
in and out through the QEMU monitor (QMP), and collects the results.

The guest speaks on its second serial port, one line a request, and gets one
line back ("ok ..." or "error ..."):

  hello UPTIME                         the guest is up
  add NAME PORT SERIAL sim ARGS...     a bridge on xHCI port PORT with USB
                                       serial SERIAL, hygrotab-sim ARGS behind it
  add NAME PORT SERIAL null            a bridge with nothing behind it
  unplug NAME / replug NAME            device_del (waits for its end) / device_add
  del NAME                             unplugs and forgets the bridge, ends its sim
  ctl NAME LINE                        a line for the sim's control channel
  result ok|fail NAME TEXT             the outcome of one check
  figure NAME VALUE                    a measured figure
  plan N / end                         how many checks will come / all done

Exit status 0 only when the guest booted, announced its plan and reported
that many checks, all passed.
"""
import argparse
import json
import os
import select
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time


def log(text):
    print(f"usb-vm: {text}", flush=True)


class Qmp:
    def __init__(self, path, deadline, alive):
        self.sock = connect_unix(path, deadline, alive)
        self.buf = b""
        self.events = []
        self.read_message()  # the greeting
        self.command("qmp_capabilities")

    def read_message(self, timeout=30.0):
        end = time.monotonic() + timeout
        while b"\n" not in self.buf:
            left = end - time.monotonic()
            if left <= 0:
                raise TimeoutError("QEMU's monitor did not answer")
            ready, _, _ = select.select([self.sock], [], [], left)
            if ready:
                chunk = self.sock.recv(65536)
                if not chunk:
                    raise ConnectionError("QEMU's monitor closed")
                self.buf += chunk
        line, self.buf = self.buf.split(b"\n", 1)
        return json.loads(line)

    def command(self, name, **args):
        self.sock.sendall(json.dumps({"execute": name, "arguments": args}).encode() + b"\n")
        while True:
            msg = self.read_message()
            if "event" in msg:
                self.events.append(msg)
                continue
            if "error" in msg:
                raise RuntimeError(f"{name}: {msg['error'].get('desc')}")
            return msg.get("return")

    def wait_event(self, name, device, timeout=15.0):
        end = time.monotonic() + timeout
        while True:
            for i, ev in enumerate(self.events):
                if ev["event"] == name and ev.get("data", {}).get("device") == device:
                    del self.events[i]
                    return True
            left = end - time.monotonic()
            if left <= 0:
                return False
            try:
                self.events.append(self.read_message(left))
            except TimeoutError:
                return False


def connect_unix(path, deadline, alive=lambda: True):
    while True:
        try:
            s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            s.connect(path)
            return s
        except OSError:
            s.close()
            if not alive():
                raise RuntimeError("QEMU ended at once (its output is below)")
            if time.monotonic() > deadline:
                raise
            time.sleep(0.05)


class Sim:
    """hygrotab-sim on a host pseudo-terminal, with its control channel."""

    def __init__(self, binary, args, cwd, logfile):
        self.proc = subprocess.Popen([binary, "--control", *args], cwd=cwd,
                                     stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=open(logfile, "ab"))
        self.path = self.readline(10.0)
        if not self.path.startswith("/dev/"):
            raise RuntimeError(f"hygrotab-sim did not start ({self.path or 'no output'})")

    def readline(self, timeout):
        line = b""
        end = time.monotonic() + timeout
        fd = self.proc.stdout.fileno()
        while not line.endswith(b"\n"):
            left = end - time.monotonic()
            if left <= 0 or not select.select([fd], [], [], left)[0]:
                return ""
            c = os.read(fd, 1)
            if not c:
                return ""
            line += c
        return line.decode().strip()

    def control(self, line):
        self.proc.stdin.write((line + "\n").encode())
        self.proc.stdin.flush()
        return self.readline(10.0)

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
            try:
                self.proc.wait(5)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()


class Rig:
    def __init__(self, args, workdir):
        self.args = args
        self.work = workdir
        self.bridges = {}  # name -> dict(props, sim, plugged)
        self.results = []
        self.figures = {}
        self.plan = None
        self.ended = False

    def add(self, name, port, serial, kind, extra):
        if name in self.bridges:
            return "error already there"
        sim = None
        if kind == "sim":
            sim = Sim(os.path.join(self.args.bin, "hygrotab-sim"), extra, self.args.src,
                      os.path.join(self.args.results, f"sim-{name}.log"))
            backend = {"type": "serial", "data": {"device": sim.path}}
        else:
            backend = {"type": "null", "data": {}}
        self.qmp.command("chardev-add", id=name, backend=backend)
        props = {"driver": "usb-serial", "id": name, "chardev": name, "bus": "xhci.0",
                 "port": port, "serial": serial}
        if sim is None:
            # QEMU plugs a usb-serial in only once its chardev is open, which
            # the null one never is.
            props["always-plugged"] = True
        self.bridges[name] = {"props": props, "sim": sim, "plugged": False}
        return self.replug(name)

    def replug(self, name):
        b = self.bridges.get(name)
        if not b or b["plugged"]:
            return "error not unplugged"
        self.qmp.command("device_add", **b["props"])
        b["plugged"] = True
        return "ok"

    def unplug(self, name):
        b = self.bridges.get(name)
        if not b or not b["plugged"]:
            return "error not plugged"
        self.qmp.command("device_del", id=name)
        if not self.qmp.wait_event("DEVICE_DELETED", name):
            return "error the device was not deleted"
        b["plugged"] = False
        return "ok"

    def delete(self, name):
        b = self.bridges.get(name)
        if not b:
            return "error no such bridge"
        if b["plugged"]:
            reply = self.unplug(name)
            if reply != "ok":
                return reply
        self.qmp.command("chardev-remove", id=name)
        if b["sim"]:
            b["sim"].stop()
        del self.bridges[name]
        return "ok"

    def handle(self, line):
        words = line.split()
        if not words:
            return "error empty"
        cmd, rest = words[0], words[1:]
        try:
            if cmd == "hello":
                self.guest_uptime = rest[0] if rest else "?"
                self.hello_at = time.monotonic()
                return "ok"
            if cmd == "add" and len(rest) >= 4:
                return self.add(rest[0], rest[1], rest[2], rest[3], rest[4:])
            if cmd == "unplug" and rest:
                return self.unplug(rest[0])
            if cmd == "replug" and rest:
                return self.replug(rest[0])
            if cmd == "del" and rest:
                return self.delete(rest[0])
            if cmd == "ctl" and len(rest) >= 2:
                b = self.bridges.get(rest[0])
                if not b or not b["sim"]:
                    return "error no sim"
                return self.bridges[rest[0]]["sim"].control(" ".join(rest[1:])) or "error no answer"
            if cmd == "result" and len(rest) >= 2:
                passed = rest[0] == "ok"
                self.results.append((passed, rest[1], " ".join(rest[2:])))
                print(f"{'ok  ' if passed else 'FAIL'} {rest[1]}  {' '.join(rest[2:])}", flush=True)
                return "ok"
            if cmd == "figure" and len(rest) >= 2:
                self.figures[rest[0]] = " ".join(rest[1:])
                return "ok"
            if cmd == "plan" and rest:
                self.plan = int(rest[0])
                return "ok"
            if cmd == "end":
                self.ended = True
                return "ok"
        except Exception as e:  # the guest hears what went wrong and decides
            return f"error {e}".replace("\n", " ")
        return "error unknown request"

    def qemu_command(self, image):
        a = self.args
        append = "console=ttyS0 root=/dev/vda panic=-1 quiet loglevel=3 tsc=reliable"
        return [
            "qemu-system-x86_64", "-accel", "tcg", "-machine", "pc", "-cpu", "max",
            "-m", "1536", "-smp", str(a.smp), "-nodefaults", "-display", "none", "-no-reboot",
            "-kernel", os.path.join(image, "vmlinuz"), "-initrd", os.path.join(image, "initrd.img"),
            "-append", append,
            "-drive", f"file={os.path.join(image, 'root.img')},if=virtio,format=raw,snapshot=on",
            "-virtfs", f"local,path={a.src},mount_tag=src,security_model=none,readonly=on",
            "-virtfs", f"local,path={a.bin},mount_tag=bin,security_model=none,readonly=on",
            "-virtfs", f"local,path={a.results},mount_tag=results,security_model=none",
            "-device", "qemu-xhci,id=xhci",
            "-chardev", f"file,id=console,path={os.path.join(a.results, 'console.log')}",
            "-serial", "chardev:console",
            "-chardev", f"socket,id=agent,path={self.agent_path},server=on,wait=off",
            "-serial", "chardev:agent",
            "-qmp", f"unix:{self.qmp_path},server=on,wait=off",
        ]

    def run(self, image):
        a = self.args
        self.agent_path = os.path.join(self.work, "agent.sock")
        self.qmp_path = os.path.join(self.work, "qmp.sock")
        started = time.monotonic()
        qemu = subprocess.Popen(self.qemu_command(image), stdout=open(
            os.path.join(a.results, "qemu.log"), "wb"), stderr=subprocess.STDOUT)
        self.hello_at = None
        try:
            deadline = time.monotonic() + 20
            alive = lambda: qemu.poll() is None
            self.qmp = Qmp(self.qmp_path, deadline, alive)
            agent = connect_unix(self.agent_path, deadline, alive)
            buf = b""
            boot_deadline = started + a.boot_timeout
            end_deadline = started + a.timeout
            while not self.ended:
                limit = boot_deadline if self.hello_at is None else end_deadline
                left = limit - time.monotonic()
                if qemu.poll() is not None:
                    self.why = f"QEMU ended (status {qemu.returncode}) before the guest was done"
                    break
                if left <= 0:
                    self.why = ("the guest did not boot within %d s" % a.boot_timeout
                                if self.hello_at is None else
                                "the guest's checks did not end within %d s" % a.timeout)
                    break
                ready, _, _ = select.select([agent], [], [], min(left, 1.0))
                if not ready:
                    continue
                chunk = agent.recv(4096)
                if not chunk:
                    continue
                buf += chunk
                while b"\n" in buf:
                    line, buf = buf.split(b"\n", 1)
                    text = line.decode(errors="replace").strip("\r\x00 ")
                    if text:
                        agent.sendall((self.handle(text) + "\n").encode())
            if self.hello_at is not None:
                self.figures.setdefault("boot_seconds", "%.1f" % (self.hello_at - started))
        finally:
            for b in list(self.bridges.values()):
                if b["sim"]:
                    b["sim"].stop()
            try:
                qemu.wait(30 if self.ended else 0.1)
            except subprocess.TimeoutExpired:
                pass
            if qemu.poll() is None:
                qemu.kill()
                qemu.wait()


def main():
    p = argparse.ArgumentParser()
    p.add_argument("--image", required=True)
    p.add_argument("--bin", required=True)
    p.add_argument("--src", required=True)
    p.add_argument("--results", required=True)
    p.add_argument("--figures", help="write the figures to this JSON file")
    p.add_argument("--smp", type=int, default=2)
    p.add_argument("--boot-timeout", type=int, default=300)
    p.add_argument("--timeout", type=int, default=1500)
    a = p.parse_args()
    for path in ("src", "bin", "results"):
        setattr(a, path, os.path.abspath(getattr(a, path)))
    os.makedirs(a.results, exist_ok=True)
    if not shutil.which("qemu-system-x86_64"):
        log("FAILED: qemu-system-x86_64 is not installed")
        return 1

    work = tempfile.mkdtemp(prefix="hygrotab-usb-vm-")
    rig = Rig(a, work)
    rig.why = ""
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    try:
        rig.run(a.image)
    except Exception as e:
        rig.why = f"{type(e).__name__}: {e}"
    finally:
        shutil.rmtree(work, ignore_errors=True)

    if a.figures:
        with open(a.figures, "w") as f:
            json.dump(rig.figures, f, indent=1)
    failed = [r for r in rig.results if not r[0]]
    ran = len(rig.results)
    if not rig.why and rig.plan is None:
        rig.why = "the guest announced no checks"
    if not rig.why and ran != rig.plan:
        rig.why = f"the guest planned {rig.plan} checks and reported {ran}"
    if rig.why:
        log("FAILED: " + rig.why)
        for name, what in (("qemu.log", "QEMU said"), ("console.log", "the guest's console ended with")):
            path = os.path.join(a.results, name)
            if os.path.exists(path) and os.path.getsize(path) > 0:
                log(what + ":")
                with open(path, errors="replace") as f:
                    for line in f.readlines()[-25:]:
                        print("  | " + line.rstrip(), flush=True)
    for k, v in sorted(rig.figures.items()):
        log(f"figure {k} = {v}")
    print(f"{ran - len(failed)} passed, {len(failed) + (1 if rig.why else 0)} failed", flush=True)
    return 0 if not rig.why and not failed and ran > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
