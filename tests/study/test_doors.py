"""Who can reach a study, and how one is told what is wrong on the way to its workers: with other users,
certificates and scripts of all kinds. CMakeLists.txt runs each class as one test."""

import asyncio
import http.client
import os
import signal
import socket
import subprocess
import sys
import unittest
from pathlib import Path
from unittest import mock

import pandas
import psutil
from distributed.comm import connect

from test_study import WORKER, Case, quietly
from zelvox._study import cluster

NOBODY = 65534


def family(process):
    return [process, *process.children(recursive=True)]


def doors(process):
    return [place.laddr for one in family(process) for place in quietly(one.net_connections, "inet") if not place.raddr]


def intruder(port):
    """0 where another user can read pages and do nothing else; runs in a process of its own."""
    if os.getuid() == 0:
        os.setgroups([])
        os.setgid(NOBODY)
        os.setuid(NOBODY)
    try:
        asyncio.run(asyncio.wait_for(connect(f"tcp://127.0.0.1:{port}"), 3))
        return 1
    except (OSError, asyncio.TimeoutError):  # it does not speak Dask
        pass
    for method, path, good in (("GET", "/status", True), ("GET", "/info/main/workers.html", True), ("POST", "/status", False),
                               ("POST", "/api/v1/retire_workers", False), ("GET", "/api/v1/get_workers", False),
                               ("GET", f"/proxy/{port}/127.0.0.1/status", False)):
        page = http.client.HTTPConnection("127.0.0.1", port, timeout=30)
        page.request(method, path, "{}" if method == "POST" else None)
        status = page.getresponse().status
        page.close()
        if (status == 200) != good:
            return 2
    return 0


class Doors(Case):
    def test_another_user_finds_a_dashboard_at_most_and_changes_nothing(self):
        # Where Dask would keep its files there is a directory of somebody else's, with links to one of ours.
        Path("precious").write_text("ours")
        trap = Path("shared", "dask-scratch-space")
        trap.mkdir(parents=True)
        for name in ("global.lock", "purge.lock"):
            (trap / name).symlink_to(Path("precious").absolute())
        if os.getuid() == 0:
            os.chown(trap, NOBODY, NOBODY)
        trap.chmod(0o777)
        os.environ["TMPDIR"] = str(Path("shared").absolute())
        self.addCleanup(os.environ.pop, "TMPDIR")
        studies = []
        for option, encrypted in (("--workers=2", ""), ("--no-dashboard", "True"), ("--quiet", "")):
            os.environ["DASK_DISTRIBUTED__COMM__REQUIRE_ENCRYPTION"] = encrypted  # between hosts; here is only one
            studies.append(self.study("--parameter=start=1:40:40", "--start-value=pause=0.02", f"--output=out{option}", option))
        del os.environ["DASK_DISTRIBUTED__COMM__REQUIRE_ENCRYPTION"]
        for study, count in zip(studies, (1, 0, 0)):
            self.until(lambda: list(Path().glob(f"out{study.args[-1]}/runs-*")), "no batch was made")
            found = doors(psutil.Process(study.pid))
            self.assertEqual([ip for ip, _ in found], ["127.0.0.1"] * count)
            for _, port in found:
                stranger = os.fork()
                if stranger == 0:
                    os._exit(intruder(port))
                self.assertEqual(os.waitpid(stranger, 0)[1], 0)
        for study in studies:
            told = study.communicate()[1]
            self.assertEqual((study.returncode, "dashboard: http://127.0.0.1:" in told), (0, study is studies[0]), told)
            self.assertEqual(pandas.read_parquet(f"out{study.args[-1]}")["run"].tolist(), list(range(1, 41)))
        with cluster.connected(None, 1, dashboard=True) as client:  # which a page of the dashboard asks for
            self.assertEqual(client.benchmark_hardware(), {"disk": {}, "memory": {}, "network": {}})
        self.assertEqual((Path("precious").read_text(), list(Path("shared").glob("zelvox-study-*"))), ("ours", []))

    def test_program_of_any_kind_makes_a_study(self):
        program = "import zelvox\nprint(len(zelvox.study('trial.fmu', {'rate': [1, 2]}, workers=2)))\n"
        Path("script.py").write_text(program)
        # A notebook has a loop that runs in the thread that computes its cells.
        notebook = f"import asyncio\nasync def cell():\n exec({program!r})\nasyncio.run(cell())"
        for source, *given in ("", "script.py"), (program, "-"), ("", "-c", notebook):
            done = subprocess.run([sys.executable, *given], input=source, capture_output=True, text=True)
            self.assertEqual((done.stdout, done.stderr, done.returncode), ("2\n", "", 0))

    def test_interrupt_while_workers_start_is_told_in_a_sentence(self):
        study = self.study("--parameter=start=1:40:40", "--start-value=pause=0.1", "--output=out", "--quiet")
        # One that just ended has no command line.
        self.until(lambda: any("batch" in child.info["cmdline"] for child in psutil.process_iter(["ppid", "cmdline"])
                               if child.info["ppid"] == study.pid and child.info["cmdline"]), "none starts")
        started = family(psutil.Process(study.pid))
        study.send_signal(signal.SIGINT)
        self.assertRegex(study.communicate()[1], r"\Azelvox-study: interrupted; [^\n]*\n\Z")
        self.assertEqual((study.returncode, psutil.wait_procs(started, 60)[1]), (130, []))

    def test_address_without_a_scheduler_is_told_in_a_sentence(self):
        with socket.create_server(("127.0.0.1", 0)) as mute, mock.patch.object(cluster, "_CONNECT", 2):
            # Dask's last try may have no time left to hear of the refusal.
            for address, reason in (("localhost", "missing port"), ("http://localhost:8786", "unknown address scheme"),
                                    ("tcp://127.0.0.1:9", "answers at tcp://127.0.0.1:9: (Connection refused|it says nothing)$"),
                                    ("tls://127.0.0.1:9", "certificates"),
                                    ("tcp://127.0.0.1:%d" % mute.getsockname()[1], "it says nothing")):
                self.refused(reason, "trial.fmu", {"rate": [1]}, scheduler=address, output="out")


class Certificates(Case):
    def test_study_with_certificates_is_for_those_who_have_them(self):
        config = {}
        for who in ("ours", "stranger"):
            subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", f"/CN={who}",
                            "-keyout", f"{who}.key", "-out", f"{who}.pem"], check=True, capture_output=True)
            config[who] = {"DASK_DISTRIBUTED__COMM__TLS__CA_FILE": os.path.abspath("ours.pem")}
            for role in ("SCHEDULER", "WORKER", "CLIENT"):
                config[who][f"DASK_DISTRIBUTED__COMM__TLS__{role}__CERT"] = os.path.abspath(f"{who}.pem")
                config[who][f"DASK_DISTRIBUTED__COMM__TLS__{role}__KEY"] = os.path.abspath(f"{who}.key")
        address = self.scheduler("tls://127.0.0.1", **config["ours"])
        for directory in ("a", "b"):
            self.start(*WORKER, address, "--nthreads=1", "--no-dashboard", f"--local-directory={directory}", **config["ours"])
        wait = "import sys; from distributed import Client; Client(sys.argv[1]).wait_for_workers(2)"
        subprocess.run([sys.executable, "-c", wait, address], check=True, env={**os.environ, **config["ours"]})
        line = ["--parameter=start=1:40:40", "--start-value=pause=0.005", "--output=out", "--quiet"]
        for where, who, reason in ((address, {}, "needs certificates"), (address, config["stranger"], "no scheduler of Dask answers"),
                                   (address.replace("tls", "tcp"), {}, "no scheduler of Dask answers")):
            told = self.study(*line, f"--scheduler={where}", **who).communicate()[1]
            self.assertRegex(told, rf"\Azelvox-study: [^\n]*{reason}[^\n]*\n\Z")
        made = self.study(*line, f"--scheduler={address}", **config["ours"])
        self.assertEqual((made.communicate()[1], made.returncode), ("", 0))
        table = pandas.read_parquet("out")
        self.assertEqual((table["run"].tolist(), set(table["error"])), (list(range(1, 41)), {""}))


if __name__ == "__main__":
    unittest.main()
