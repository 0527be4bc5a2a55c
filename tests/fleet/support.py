"""Servers of their own for the tests of the fleet: on the loopback interface, with all their files in one temporary folder."""

import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import tempfile
import time
import unittest
import urllib.parse
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
FLEET = ROOT / 'fleet'
ROUTERS = pathlib.Path(os.environ.get('FLEET_ROUTERS', ROOT / 'build/release/fleet/simulator/fleet_routers'))


def free_port():
    """A port of 127.0.0.1 at which nothing listens just now."""
    with socket.socket() as probe:
        probe.bind(('127.0.0.1', 0))
        return probe.getsockname()[1]


def run(*command, **options):
    """Runs a command to its end, within four minutes; a failure shows what it said."""
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, timeout=240, check=False,
                          **options)
    if done.returncode != 0:
        raise AssertionError(f'{command[0]} ended with {done.returncode}:\n{done.stdout}{done.stderr}')
    return done.stdout + done.stderr


def wait_for(what, condition, seconds):
    """Asks until the condition holds, and returns what it found; fails after so many seconds."""
    end = time.monotonic() + seconds
    while True:
        found = condition()
        if found:
            return found
        if time.monotonic() > end:
            raise AssertionError(f'not within {seconds} s: {what}')
        time.sleep(0.1)


class Process:
    """A server, with its output in a file of the folder; ended with `end`, by its own process id."""

    def __init__(self, folder, name, command):
        self.log = folder / f'{name}.log'
        with open(self.log, 'w', encoding='utf-8') as log:
            self.process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL, stdout=log,
                                            stderr=subprocess.STDOUT)

    def said(self):
        return self.log.read_text(encoding='utf-8')

    def alive(self):
        if self.process.poll() is not None:
            raise AssertionError(f'ended with {self.process.returncode}:\n{self.said()[-3000:]}')
        return True

    def end(self):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(20)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()


class Simulator(Process):
    """The simulated fleet."""

    def __init__(self, folder, *options):
        super().__init__(folder, 'routers', [ROUTERS, '--recorded', FLEET / 'recorded', *options])
        self.address = wait_for('the address of the fleet', self.find_address, 10)

    def find_address(self):
        self.alive()
        return ''.join(re.findall(r'^http://(\S+)/$', self.said(), re.M))


class Prometheus(Process):
    """A server; `options` go to it."""

    def __init__(self, folder, config, *options, name='prometheus', data='data', agent=False):
        self.port = free_port()
        self.address = f'127.0.0.1:{self.port}'
        storage = '--storage.agent.path' if agent else '--storage.tsdb.path'
        if agent:
            options = ('--enable-feature=agent', *options)
        else:
            # An hour of the past lies in blocks that were made elsewhere, so nothing may be thrown away for its age.
            options = ('--storage.tsdb.retention.time=10y', *options)
        super().__init__(folder, name, ['prometheus', f'--config.file={config}', f'{storage}={folder / data}',
                                        f'--web.listen-address={self.address}', '--log.level=warn', *options])
        wait_for('the server', self.ready, 30)

    def ready(self):
        self.alive()
        try:
            with urllib.request.urlopen(f'http://{self.address}/-/ready', timeout=5) as answer:
                return answer.status == 200
        except OSError:
            return False

    def ask(self, path, **arguments):
        url = f'http://{self.address}/api/v1/{path}'
        data = urllib.parse.urlencode(arguments).encode() if arguments else None
        with urllib.request.urlopen(url, data, timeout=60) as answer:
            return json.load(answer)['data']

    def query(self, query, at=None):
        """Samples of an instant query: a list of (labels, value)."""
        arguments = {'query': query}
        if at is not None:
            arguments['time'] = at
        data = self.ask('query', **arguments)
        if data['resultType'] == 'scalar':
            return [({}, float(data['result'][1]))]
        return [(sample['metric'], float(sample['value'][1])) for sample in data['result']]

    def series(self, query, start, end, step):
        """A range query: a list of (labels, {second: value})."""
        data = self.ask('query_range', query=query, start=start, end=end, step=step)
        return [(one['metric'], {int(t): float(value) for t, value in one['values']}) for one in data['result']]


class FleetTest(unittest.TestCase):
    """A temporary folder and the processes of one class of tests."""

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix='fleet-test.'))
        cls.processes = []
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.addClassCleanup(cls.end_all)

    @classmethod
    def end_all(cls):
        for process in reversed(cls.processes):
            process.end()

    @classmethod
    def start(cls, process):
        cls.processes.append(process)
        return process
