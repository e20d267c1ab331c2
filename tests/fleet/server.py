"""A column store for tests: Debian's clickhouse-server as a process of its own, on loopback, in a temporary folder. No
service is asked for, none is started, and nothing outside of the folder is touched."""
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.parse
import urllib.request

SKIPPED = 77
TOP = pathlib.Path(__file__).resolve().parents[2]
SCHEMAS = TOP / "packaging" / "clickhouse"
DATABASE = "kestrel"
failures = []

CONFIGURATION = """<yandex>
  <logger><level>error</level><log>{folder}/log</log><errorlog>{folder}/errors</errorlog></logger>
  <http_port>{http}</http_port><tcp_port>{tcp}</tcp_port><listen_host>127.0.0.1</listen_host>
  <path>{folder}/data/</path><tmp_path>{folder}/tmp/</tmp_path><format_schema_path>{folder}/formats/</format_schema_path>
  <users_config>{folder}/users.xml</users_config>
  <default_profile>default</default_profile><default_database>default</default_database>
  <mark_cache_size>67108864</mark_cache_size><mlock_executable>false</mlock_executable>
  <remote_servers><kestrel>{shards}</kestrel></remote_servers>
</yandex>
"""
SHARD = "<shard><replica><host>127.0.0.1</host><port>{tcp}</port></replica></shard>"
# The third may only read, and may not even change a setting.
USERS = """<yandex>
  <profiles><default><max_memory_usage>2000000000</max_memory_usage></default><reader><readonly>1</readonly></reader></profiles>
  <users>
    <default><password></password><networks><ip>127.0.0.1</ip></networks><profile>default</profile><quota>default</quota></default>
    <anna><password>{password}</password><networks><ip>127.0.0.1</ip></networks><profile>default</profile><quota>default</quota></anna>
    <reader><password>{password}</password><networks><ip>127.0.0.1</ip></networks><profile>reader</profile><quota>default</quota></reader>
  </users>
  <quotas><default></default></quotas>
</yandex>
"""
PASSWORD = "open-sesame-17"


def skip(reason):
    print(f"{sys.argv[-1]}: Skipped\n{reason}")
    sys.exit(SKIPPED)


def check(holds, what):
    if not holds:
        failures.append(what)
        print("FAILED:", what, flush=True)


def free_port():
    with socket.socket() as each:
        each.bind(("127.0.0.1", 0))
        return each.getsockname()[1]


class Store:
    """One server. `sql` asks it as an administrator; rows come as lists of bytes."""

    def __init__(self, folder, http, tcp, shards):
        self.folder, self.port, self.tcp = folder, http, tcp
        for name in ("data", "tmp", "formats"):
            (folder / name).mkdir(parents=True)
        (folder / "users.xml").write_text(USERS.format(password=PASSWORD))
        (folder / "config.xml").write_text(CONFIGURATION.format(
            folder=folder, http=http, tcp=tcp, shards="".join(SHARD.format(tcp=each) for each in shards)))
        with open(folder / "output", "wb") as output:
            self.process = subprocess.Popen(["clickhouse-server", f"--config-file={folder}/config.xml"], stdout=output,
                                            stderr=output, stdin=subprocess.DEVNULL, cwd=folder)

    def url(self, database=DATABASE):
        return f"http://127.0.0.1:{self.port}/{urllib.parse.quote(database, safe='')}"

    def wait(self):
        """Until it answers. Who waits for the end of the process learns at once where it has ended."""
        limit = time.monotonic() + 60
        while time.monotonic() < limit:
            try:
                with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/ping", timeout=5):
                    return
            except OSError:
                pass
            try:
                self.process.wait(timeout=0.05)
                break
            except subprocess.TimeoutExpired:
                pass
        print((self.folder / "output").read_text(errors="replace")[-2000:])
        sys.exit("The server did not start.")

    def sql(self, query, database=DATABASE, **settings):
        parameters = urllib.parse.urlencode({"database": database, **settings})
        request = urllib.request.Request(f"http://127.0.0.1:{self.port}/?{parameters}", query.encode())
        try:
            with urllib.request.urlopen(request, timeout=600) as answer:
                text = answer.read()
        except urllib.error.HTTPError as error:
            raise RuntimeError(error.read().decode(errors="replace")) from None
        return [line.split(b"\t") for line in text.split(b"\n")[:-1]]

    def number(self, query, **settings):
        return int(self.sql(query, **settings)[0][0])

    def schema(self, name="schema.sql", database=DATABASE):
        """As an administrator does it."""
        quoted = database.replace("\\", "\\\\").replace("`", "\\`")
        self.sql(f"CREATE DATABASE IF NOT EXISTS `{quoted}`", database="default")
        with open(SCHEMAS / name, "rb") as statements:
            subprocess.run(["clickhouse-client", "--host=127.0.0.1", f"--port={self.tcp}", f"--database={database}", "--multiquery",
                            "--allow_experimental_low_cardinality_type=1"],
                           stdin=statements, check=True, timeout=60, cwd=self.folder, env={**os.environ, "HOME": str(self.folder)})

    def settle(self):
        """Until what is to be deleted is gone."""
        limit = time.monotonic() + 60
        while self.number("SELECT count() FROM system.mutations WHERE is_done = 0"):
            if time.monotonic() > limit:
                sys.exit("A deletion does not come to its end.")

    def stop(self):
        self.process.kill()
        self.process.wait()


class Stores:
    """Servers for the time of a `with`: one alone, or several that share the rows of the tables."""

    def __init__(self, count=1):
        self.count = count

    def __enter__(self):
        for program in ("clickhouse-server", "clickhouse-client"):
            if shutil.which(program) is None:
                skip(f"{program} is not installed")
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kestrel-fleet-"))
        ports = [free_port() for _ in range(2 * self.count)]
        http, tcp = ports[:self.count], ports[self.count:]
        self.stores = []
        try:
            for i in range(self.count):
                self.stores.append(Store(self.folder / f"server{i}", http[i], tcp[i], tcp))
            for each in self.stores:
                each.wait()
            for each in self.stores:
                each.schema("schema.sql" if self.count == 1 else "schema-shards.sql")
        except BaseException:
            self.__exit__()
            raise
        return self.stores

    def __exit__(self, *_):
        for each in self.stores:
            each.stop()
        shutil.rmtree(self.folder, ignore_errors=True)


class Machine:
    """A person with a home directory, a tree and the program."""

    def __init__(self, program, folder):
        self.program, self.folder = os.path.abspath(program), pathlib.Path(folder)
        self.home = self.folder / "home"
        self.tree = self.folder / "tree"
        self.home.mkdir(parents=True)
        self.tree.mkdir()
        self.environment = {"HOME": str(self.home), "CFFIXED_USER_HOME": str(self.home), "PATH": os.environ["PATH"],
                            "XDG_DATA_HOME": str(self.home / "data"), "LC_ALL": "C.UTF-8"}

    def call(self, *arguments, timeout=120, **environment):
        """The exit code, and what was said, as bytes."""
        done = subprocess.run([self.program, *arguments], env={**self.environment, **environment}, capture_output=True,
                              timeout=timeout, stdin=subprocess.DEVNULL, cwd=self.folder)
        return done.returncode, done.stdout, done.stderr

    def does(self, *arguments, **environment):
        code, out, said = self.call(*arguments, **environment)
        check(code == 0, f"{arguments} ends with {code}: {said.decode(errors='replace')}")
        return out

    def scan(self, path=None):
        self.does("scan", path or str(self.tree))


def run_case(cases):
    """`SCRIPT KESTREL CASE`: each case gets a machine."""
    if sys.argv[2] not in cases:
        sys.exit(f"There are {', '.join(cases)}.")
    folder = tempfile.mkdtemp(prefix="kestrel-fleet-")
    try:
        cases[sys.argv[2]](Machine(sys.argv[1], folder))
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    print(f"{sys.argv[2]}: {len(failures)} failures")
    sys.exit(1 if failures else 0)
