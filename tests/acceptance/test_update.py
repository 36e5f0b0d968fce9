"""Updates a device behind a real sshd with `nox update`, from outside, and breaks it at every moment."""
import json
import os
import shutil
import signal
import socket
import subprocess
import tarfile
import tempfile
import time
import unittest
from pathlib import Path

import nox
import secure_shell
from instrument_host import Host, Instrument

OLD = b"old" * 1000
NEW = os.urandom(48 << 20)
LIMIT = 2.0


@unittest.skipUnless(secure_shell.is_available(), "there is no sshd")
class Device(unittest.TestCase):
    has_sftp = True
    largest_file = None

    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(dir=secure_shell.memory_folder()))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.device = self.folder / "de vice"
        self.package = self.folder / "package"
        self.device.mkdir()
        self.package.mkdir()
        self.put_old()
        (self.package / "app").write_bytes(NEW)
        (self.package / "version").write_text("2.0\n")
        self.write_manifest()
        self.server = secure_shell.Server(self.folder, self.has_sftp, self.largest_file).start()
        self.addCleanup(self.server.stop)

    def put_old(self):
        (self.device / "app").write_bytes(OLD)
        (self.device / "app").chmod(0o750)
        (self.device / "version").write_text("1.0\n")

    def write_manifest(self, **changes):
        copies = [{"source": name, "destination": str(self.device / name)} for name in ("app", "version")]
        manifest = {"conditions": {"software": {"path": str(self.device / "version"), "version": "2.0",
                                                "comparison": "<", "primary": "true", "target_version": "2.0"}},
                    "preCommands": ["echo 50%"], "copyFileDescriptions": copies, "postCommands": ["true"], **changes}
        (self.package / "manifest.json").write_text(json.dumps(manifest))

    def words(self, *more, package=None, key="user", url=None):
        return ["update", url or self.server.url, str(package or self.package), "--identity", self.folder / key,
                "--known-hosts", self.folder / "known_hosts", "--stall-timeout", str(LIMIT), *more]

    def update(self, *more, agent="", **changes):
        return nox.run(*self.words(*more, **changes), SSH_AUTH_SOCK=agent)

    def start_update(self, *more):
        process = subprocess.Popen([nox.program(), *map(str, self.words(*more))], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                   env=nox.environment_in(str(self.folder), {"SSH_AUTH_SOCK": ""}))
        self.addCleanup(process.kill)
        return process

    def end(self, process):
        output, errors = process.communicate(timeout=secure_shell.BOUND)
        return nox.Result(output, errors, process.returncode)

    def sent_bytes(self):
        parts = list(self.device.glob(".app.*.nox-part"))
        return parts[0].stat().st_size if parts else 0

    def assert_old_or_new(self):
        self.assertIn((self.device / "app").read_bytes(), (OLD, NEW))
        self.assertIn((self.device / "version").read_text(), ("1.0\n", "2.0\n"))

    def assert_updated(self, result):
        self.assertEqual((result.status, result.stderr), (0, ""), result)
        self.assertEqual((self.device / "app").read_bytes(), NEW)
        self.assertEqual((self.device / "version").read_text(), "2.0\n")
        self.assertEqual(sorted(path.name for path in self.device.iterdir()), ["app", "version"])

    def assert_refused(self, result, sentence, status=1):
        self.assertEqual((result.status, len(result.messages())), (status, 1), result)
        self.assertRegex(result.messages()[0], sentence)
        self.assert_old_or_new()

    def assert_can_be_updated_now(self):
        """With the same package as before, whatever it has changed by then."""
        self.server.stop()
        self.server.start()
        (self.folder / "go").touch()
        self.assert_updated(self.update())
        self.assertEqual(self.update().status, 3)


class Updates(Device):
    def test_updates_once_and_keeps_the_mode(self):
        check = self.update("--check")
        self.assertEqual((check.status, check.stdout.splitlines()[0].split()[0]), (0, "yes"), check)
        self.assert_updated(self.update())
        self.assertEqual((self.device / "app").stat().st_mode & 0o777, 0o750)
        self.assertEqual((self.device / "version").stat().st_mode & 0o777, 0o644)
        check = self.update("--check")
        self.assertEqual((check.status, check.stdout.splitlines()[0].split()[0]), (3, "no"), check)
        self.assert_refused(self.update(), "does not apply: .*software", status=3)

    def test_files_that_are_there_already_are_left_alone(self):
        (self.device / "app").write_bytes(NEW)
        before = (self.device / "app").stat()
        self.assert_updated(self.update())
        self.assertEqual((self.device / "app").stat().st_ino, before.st_ino)

    def test_packages_of_every_form(self):
        with tarfile.open(self.folder / "p.tar.gz", "w:gz", compresslevel=1) as archive:
            archive.add(self.package, ".")
        shutil.make_archive(str(self.folder / "p"), "zip", self.package)
        for name in ("p.tar.gz", "p.zip"):
            with self.subTest(name):
                self.put_old()
                self.assert_updated(self.update(package=self.folder / name))

    def test_only_a_version_that_is_named_has_to_be_told(self):
        self.write_manifest(conditions={"hardware": {"path": str(self.device / "version"), "version": "3",
                                                     "comparison": "<"}})
        self.assert_updated(self.update())

    def test_the_best_of_several_packages(self):
        other = self.folder / "second"
        shutil.copytree(self.package, other)
        (other / "version").write_text("2.0.0\n")
        self.write_manifest(priority=1)
        self.assert_updated(self.update(str(other)))

    def test_a_dry_run_shows_the_commands_and_asks_nobody(self):
        self.server.stop()
        self.write_manifest(postCommands=["echo  $(id) ; true\nfalse"])
        result = self.update("--dry-run")
        self.assertEqual(result.status, 0, result)
        self.assertEqual([line.split()[0] for line in result.stdout.splitlines()], ["1", "2", "3", "4"])
        self.assertIn("echo  $(id) ; true\\nfalse", result.stdout)

    def test_names_are_no_commands(self):
        names = ["$(touch x)", "a;touch x", "a'b\"c", "a\nb", "-rf", "`touch x`", "*", "ä \\"]
        copies = []
        for index, name in enumerate(names):
            (self.package / str(index)).write_text(name)
            copies.append({"source": str(index), "destination": str(self.device / name)})
        self.write_manifest(conditions={}, copyFileDescriptions=copies)
        result = self.update()
        self.assertEqual(result.status, 0, result)
        self.assertEqual({path.name: path.read_text() for path in self.device.iterdir() if path.name in names},
                         {name: name for name in names})
        self.assertEqual(len(list(self.device.iterdir())), len(names) + 2)

    def test_dummies_and_classes_need_their_options(self):
        self.write_manifest(dummy=True, deviceClass="pd")
        self.assert_refused(self.update(), "test package", status=3)
        self.assert_refused(self.update("--dac-enable-dummy-updates", "--device-class", "dac"), "class", status=3)
        self.assert_updated(self.update("--dac-enable-dummy-updates", "--device-class", "pd"))

    def test_a_new_host_key_is_stored_when_that_is_wanted(self):
        (self.folder / "known_hosts").unlink()
        self.assert_refused(self.update(), "host key .*SHA256:.* unknown; nothing was sent")
        self.assert_updated(self.update("--accept-new-host-key"))
        self.write_manifest(conditions={})
        self.assert_updated(self.update())
        strange = self.folder / "100%h ~"
        strange.mkdir()
        (self.folder / "known_hosts").rename(strange / "known_hosts")
        self.assert_updated(self.update("--known-hosts", strange / "known_hosts"))

    def test_an_instrument_announces_its_new_version(self):
        with Instrument.simulated("--version-file", self.device / "version") as instrument:
            self.assertEqual(self.announced_version(instrument), "1.0")
            self.assert_updated(self.update())
            self.assertEqual(self.announced_version(instrument), "2.0")

    def announced_version(self, instrument):
        with Host(instrument.url) as host:
            return host.receive()["software_version"]

    def test_many_small_files_take_few_round_trips(self):
        count, trip = 5000, 0.02
        (self.package / "many").mkdir()
        (self.device / "many").mkdir()
        copies = []
        for index in range(count):
            (self.package / "many" / str(index)).write_text(f"file {index}\n")
            copies.append({"source": f"many/{index}", "destination": f"{self.device}/many/{index}"})
        self.write_manifest(conditions={}, copyFileDescriptions=copies)
        relay = secure_shell.SlowRelay(self.server.port, trip / 2)
        self.addCleanup(relay.close)
        start = time.monotonic()
        result = self.update("--accept-new-host-key", url=f"ssh://{self.server.user}@127.0.0.1:{relay.port}")
        elapsed = time.monotonic() - start
        self.assertEqual(result.status, 0, result)
        self.assertEqual(len(list((self.device / "many").iterdir())), count)
        # All of the time counts as waiting, so that this is more than there were.
        trips = elapsed / trip / count
        print(f"{count} files in {elapsed:.1f} s, at most {trips:.2f} round trips each")
        self.assertLessEqual(trips, 3)


class WithoutSftp(Device):
    has_sftp = False

    def test_updates(self):
        self.assert_updated(self.update())
        self.assertEqual((self.device / "app").stat().st_mode & 0o777, 0o750)


class Faults(Device):
    def test_before_anything_is_sent(self):
        shutil.copy(self.package / "app", self.folder / "outside")
        (self.package / "link").symlink_to(self.folder / "outside")
        there = str(self.device / "app")
        sources = [("missing", "missing"), ("../outside", "outside"), ("link", "outside"), ("$(touch x)", "missing"),
                   (str(self.folder / "outside"), "outside")]
        for source, sentence in sources:
            with self.subTest(source):
                self.write_manifest(copyFileDescriptions=[{"source": source, "destination": there}])
                self.assert_refused(self.update(), sentence)
        self.write_manifest()
        with self.subTest("wrong key"):
            self.assert_refused(self.update(key="stranger"), "refuses")
        self.assertEqual((self.device / "app").read_bytes(), OLD)

    def test_other_host_keys(self):
        for host_key, sentence in ("other", "changed|differs|not the known"), ("ecdsa", "another type"):
            with self.subTest(host_key):
                self.server.stop()
                self.server.start(host_key)
                self.assert_refused(self.update("--accept-new-host-key"), sentence)
        self.assert_can_be_updated_now()

    def test_two_files_in_one_place(self):
        for places in ("app", "./app"), ("/app", ""):
            with self.subTest(places):
                self.write_manifest(copyFileDescriptions=[
                    {"source": name, "destination": f"{self.device}/{place}"}
                    for name, place in zip(("version", "app"), places)])
                self.assert_refused(self.update(), "two files have the destination")
                self.assertEqual((self.device / "app").read_bytes(), OLD)

    def test_revoked_host_keys(self):
        kind, key = (self.folder / "host.pub").read_text().split()[:2]
        for known in "", (self.folder / "known_hosts").read_text():
            (self.folder / "known_hosts").write_text(f"{known}@revoked * {kind} {key}\n")
            self.assert_refused(self.update("--accept-new-host-key"), "host key .* is revoked; nothing was sent")

    def test_identities_that_need_a_password(self):
        (self.folder / "secret").write_text("much secret\n")
        (self.folder / "wrong").write_text("nothing\n")
        for form in "PEM", "RFC4716":
            with self.subTest(form):
                key = self.folder / form
                subprocess.run(["ssh-keygen", "-q", "-t", "rsa", "-m", form, "-N", "much secret", "-f", key], check=True)
                shutil.copy(f"{key}.pub", self.folder / "user.pub")
                self.assert_refused(self.update(key=form), "needs a password")
                self.assert_refused(self.update("--password-file", self.folder / "wrong", key=form), "cannot be read")
                self.put_old()
                self.assert_updated(self.update("--password-file", self.folder / "secret", key=form))

    def test_an_agent_that_does_not_answer(self):
        with socket.socket(socket.AF_UNIX) as agent:
            agent.bind(str(self.folder / "agent"))
            agent.listen()
            start = time.monotonic()
            self.assert_refused(self.update("--connect-timeout", "1s", agent=self.folder / "agent", key="stranger"),
                                "the agent did not answer in time")
            self.assertLessEqual(time.monotonic() - start, 3)

    def test_no_server(self):
        self.server.stop()
        self.assert_refused(self.update(), "cannot connect")

    def test_failing_commands(self):
        marker = self.device / "marker"
        table = [({"preCommands": ["echo no flash >&2; exit 7", f"touch '{marker}'"]}, OLD, "status 7: no flash"),
                 ({"preCommands": ["printf '%1d flashed' 5 >&2; exit 8"]}, OLD, "%1d.*status 8: 5 flashed"),
                 ({"postCommands": ["kill -9 $$", f"touch '{marker}'"]}, NEW, "status 1[0-9][0-9]"),
                 ({"postCommands": [f"echo 1.5 > '{self.device}/version'"]}, NEW, "tells \"1.5\" instead of")]
        for changes, app, sentence in table:
            with self.subTest(sentence):
                self.put_old()
                self.write_manifest(**changes)
                result = self.update()
                self.assertEqual((result.status, len(result.messages())), (1, 1), result)
                self.assertRegex(result.messages()[0], sentence)
                self.assertEqual((self.device / "app").read_bytes(), app)
                self.assertFalse(marker.exists())

    def test_a_command_has_a_limit_of_its_own(self):
        self.write_manifest(preCommands=["sleep 3"])
        self.assert_updated(self.update())
        self.put_old()
        self.assert_refused(self.update("--command-timeout", "1s"), "took longer than 1 s")

    def strike(self, moment, blow):
        """Runs an update and strikes at the moment; how long after the blow it ended is told too."""
        marker = self.folder / "marker"
        marker.unlink(missing_ok=True)
        (self.folder / "go").unlink(missing_ok=True)
        self.put_old()
        wait = [f"touch '{marker}'; [ -e '{self.folder}/go' ] || sleep 100"]
        self.write_manifest(**{"pre": {"preCommands": wait}, "post": {"postCommands": wait}}.get(moment, {}))
        process = self.start_update()
        reached = {"pre": marker.exists, "post": marker.exists, "first bytes": lambda: self.sent_bytes() > 0,
                   "half": lambda: self.sent_bytes() > len(NEW) // 2,
                   "sent": lambda: self.sent_bytes() == len(NEW)}[moment]
        secure_shell.wait_until(lambda: reached() or process.poll() is not None, f"{moment} never came")
        blow(process)
        start = time.monotonic()
        return self.end(process), time.monotonic() - start

    def test_a_killed_server(self):
        for moment in "pre", "first bytes", "half", "sent", "post":
            with self.subTest(moment):
                result, _ = self.strike(moment, lambda _: self.server.kill())
                self.assert_refused(result, "lost|closed|ended|did not end")
                self.assert_can_be_updated_now()

    def test_a_frozen_server(self):
        for moment in "pre", "half", "sent", "post":
            with self.subTest(moment):
                result, elapsed = self.strike(moment, lambda _: self.server.freeze())
                self.assert_refused(result, "did not answer")
                self.assertLessEqual(elapsed, LIMIT + 1)
                self.assert_can_be_updated_now()

    def test_a_device_that_goes_before_it_tells_its_version(self):
        """Only one that ends the connection behind a closing command may be restarting."""
        table = [("STOP", 1, "did not answer"), ("KILL", 0, "has ended the connection")]
        for blow, status, sentence in table:
            with self.subTest(sentence):
                self.server.stop()
                self.server.start()
                # The command's end is on its way for longer than the blow takes.
                relay = secure_shell.SlowRelay(self.server.port, 0.15)
                self.addCleanup(relay.close)
                self.put_old()
                self.write_manifest(postCommands=[f"(sleep 0.15; kill -{blow} $PPID) >/dev/null 2>&1 &"])
                result = self.update("--accept-new-host-key",
                                     url=f"ssh://{self.server.user}@127.0.0.1:{relay.port}")
                self.assertEqual(result.status, status, result)
                self.assertRegex(result.stdout + result.stderr, sentence)

    def test_a_server_that_is_frozen_from_the_start(self):
        self.server.freeze()
        start = time.monotonic()
        self.assert_refused(self.update("--connect-timeout", "2s"), "did not answer")
        self.assertLessEqual(time.monotonic() - start, 3)

    def test_cancelled(self):
        for moment in "pre", "half", "post":
            with self.subTest(moment):
                result, elapsed = self.strike(moment, lambda process: process.send_signal(signal.SIGINT))
                self.assert_refused(result, "cancelled")
                self.assertLessEqual(elapsed, 4)
                self.assertEqual(list(self.device.glob(".*.nox-part")), [])
                self.assert_can_be_updated_now()


class LimitedFiles(Device):
    largest_file = 16 << 20

    def test_a_file_that_may_not_grow(self):
        self.assert_refused(self.update(), "app")
        self.assertEqual((self.device / "app").read_bytes(), OLD)
        self.assertEqual(list(self.device.glob(".*.nox-part")), [])


class LimitedFilesWithoutSftp(LimitedFiles):
    has_sftp = False


class FullDisk(Device):
    def put_old(self):
        if not os.path.ismount(self.device):
            done = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16m", "none", self.device], capture_output=True,
                                  text=True)
            if done.returncode != 0:
                self.skipTest(f"a full disk needs a small file system: {done.stderr.strip()}")
            self.addCleanup(subprocess.run, ["umount", "-l", self.device], check=True)
        super().put_old()

    def test_a_full_disk(self):
        for has_sftp in True, False:
            with self.subTest(has_sftp=has_sftp):
                self.server.stop()
                self.server.has_sftp = has_sftp
                self.server.start()
                self.assert_refused(self.update(), "[Nn]o space|full")
                self.assertEqual((self.device / "app").read_bytes(), OLD)
                self.assertEqual(list(self.device.glob(".*.nox-part")), [])


class CommandLine(unittest.TestCase):
    def test_wrong_words(self):
        with tempfile.TemporaryDirectory() as folder:
            package = Path(folder) / "package"
            package.mkdir()
            manifest = package / "manifest.json"
            manifest.write_text("{}")
            for url in "ssh://127.0.0.1", "http://a@b", "ssh://a:b@c", "ssh://a@b:99999", "nonsense":
                with self.subTest(url):
                    result = nox.run("update", url, package)
                    self.assertEqual((result.status, result.stdout, len(result.messages())), (2, "", 1), result)
            for text in "", "[]", '{"dummy":1}', '{"preCommands":[1]}', "[" * 100000, " " * (100 << 20):
                with self.subTest(text[:20]):
                    manifest.write_text(text)
                    result = nox.run("update", "ssh://a@127.0.0.1:1", package)
                    self.assertEqual((result.status, result.stdout, len(result.messages())), (1, "", 1), result)


if __name__ == "__main__":
    unittest.main()
