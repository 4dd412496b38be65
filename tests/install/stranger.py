"""stranger.py CMAKE COMPILER SOURCE_DIR BUILD_DIR: installs the build into a folder of its own and
builds programs on it as strangers do: with the CMake package, with pkg-config, and with the sources
as a subproject. Needs a build of everything.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

CMAKE, COMPILER, SOURCE, BUILD = sys.argv[1:]
PROGRAMS = pathlib.Path(__file__).parent


def run(*command, **more):
    """What a command prints; its failure is the test's, with all that it said."""
    done = subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, **more)
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.returncode}\n{done.stdout}")
    return done.stdout


class Stranger(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        # Moved after the installation: nothing in it may know where it was put.
        run(CMAKE, "--install", BUILD, "--prefix", cls.work / "first")
        cls.prefix = cls.work / "prefix"
        (cls.work / "first").rename(cls.prefix)

    def built(self, name, *options):
        """The tree program, configured in an empty folder."""
        folder = self.work / name
        run(CMAKE, "-S", PROGRAMS / "tree", "-B", folder, f"-DCMAKE_CXX_COMPILER={COMPILER}",
            *options)
        run(CMAKE, "--build", folder, "--parallel", str(os.cpu_count()), "--target", "tree")
        self.assertEqual(run(folder / "tree"), "10.1.*\n")
        return folder

    def test_cmake_package(self):
        self.built("package", f"-DCMAKE_PREFIX_PATH={self.prefix}")

    def test_subproject_brings_neither_tests_nor_programs_to_install(self):
        folder = self.built("subproject", f"-DSOURCE_DIR={SOURCE}")
        self.assertFalse((folder / "CTestTestfile.cmake").exists())
        targets = run(CMAKE, "--build", folder, "--target", "help")
        for name in ("test_ulib", "benchmarks", "plug-relay", "flatlink-screen"):
            self.assertNotIn(name, targets)

    @unittest.skipUnless(shutil.which("pkg-config"), "no pkg-config")
    def test_pkg_config(self):
        folder = next(self.prefix.glob("lib/**/pkgconfig"))
        names = sorted(path.stem for path in folder.glob("*.pc"))
        env = {**os.environ, "PKG_CONFIG_PATH": str(folder)}
        self.assertIn("flatlink-vpndata", names)
        run("pkg-config", "--exists", "--print-errors", "flatlink-vpndata = 1.0.0", env=env)
        flags = run("pkg-config", "--cflags", "--libs", "flatlink-vpndata", "flatlink-fwall",
                    env=env).split()
        program = self.work / "links"
        run(COMPILER, "-std=c++20", PROGRAMS / "links" / "main.cpp", "-o", program, *flags)
        shared = {**os.environ, "LD_LIBRARY_PATH": str(folder.parent)}
        self.assertRegex(run(program, env=shared), r"\A1\n(.*\n)*vpn_kernelacceleration=On\n")

    def test_options_of_installed_proxies(self):
        table = self.work / "table"
        table.write_text("plug-relay: hosts * -policy p -dest 10.* -dset x\n"
                         "policy-p: destination *\n")
        done = subprocess.run([self.prefix / "bin" / "flatctl", "check", "--kind", "table", table],
                              text=True, capture_output=True)
        self.assertEqual(done.stdout.count(" error "), 2, done.stdout)
        self.assertEqual(done.stdout.count("T116"), 2, done.stdout)

    def test_programs_and_documents(self):
        self.assertTrue(os.access(self.prefix / "bin" / "flatlink", os.X_OK))
        for name in ("flatctl", "plug-relay", "line-filter", "stdlog", "rule-form"):
            program = self.prefix / "bin" / name
            self.assertEqual(run(program, "--version"), f"{name} 1.0.0\n")
            self.assertIn(f"usage: {name}", run(program, "--help").lower())
        for name in ("doc/flatlink/LICENSE", "doc/flatlink/CHANGELOG.md", "man/man1/flatlink.1",
                     "man/man5/netperm-table.5", "man/man7/flatlink-proxy.7",
                     "bash-completion/completions/flatctl", "flatlink/netperm-table"):
            self.assertTrue((self.prefix / "share" / name).is_file())

    @unittest.skipUnless(shutil.which("systemd-analyze"), "no systemd-analyze")
    def test_units(self):
        names = ("plug-relay.service", "plug-relay.socket")
        for name in names:
            text = (self.prefix / "lib/systemd/system" / name).read_text()
            text = re.sub("ExecStart=.*/bin", f"ExecStart={self.prefix}/bin", text)
            (self.work / name).write_text(text)
        said = run("systemd-analyze", "verify", "--man=no", *(self.work / name for name in names))
        self.assertEqual(said, "")
        # 2.0 at most, in tenths.
        run("systemd-analyze", "security", "--offline=true", "--threshold=20",
            self.work / names[0])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
