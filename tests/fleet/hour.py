"""An hour of a simulated fleet's life in a real server, within seconds: the past is written down at once and the server
started upon it."""

import pathlib
import re
import shutil
import subprocess
import time

from support import FLEET, ROUTERS, run

ROUTER_TOTAL = 60
LENGTH = 3600
STEP = 15
LIFE = pathlib.Path(__file__).parent / 'hour.life'
# A server forgets a target that failed at once; without its marks in the blocks, readings must not outlive a scrape.
LOOKBACK = '--query.lookback-delta=16s'


# No alert and no rule looks at these; without them it goes faster.
UNUSED = '^dashboard_(port|view|requests|cpu_core|exporter|document_(readable|rejected))_'


def write_blocks(folder, epoch, routers=ROUTER_TOTAL, step=STEP, life=LIFE, length=LENGTH, truth_step=STEP):
    """Makes blocks of the fleet's first `length` seconds in folder/data."""
    text = folder / 'history.txt'
    command = [ROUTERS, '--recorded', FLEET / 'recorded', '--routers', routers, '--life', life, '--epoch', epoch, '--history',
               length, '--step', step, '--truth-step', truth_step]
    with open(text, 'w', encoding='utf-8') as out, \
            subprocess.Popen([str(word) for word in command], stdout=subprocess.PIPE) as simulator:
        subprocess.run(['grep', '-Ev', UNUSED], stdin=simulator.stdout, stdout=out, check=True, timeout=240)
    if simulator.returncode != 0:
        raise AssertionError(f'the simulator ended with {simulator.returncode}')
    run('promtool', 'tsdb', 'create-blocks-from', 'openmetrics', text, folder / 'data')
    text.unlink()


def add_rules(folder, epoch, prometheus):
    """Evaluates the recording rules over the past: blocks in folder/rules, to be moved into the data of the next server. Only
    what is made of the routers' own series; rules upon rules would want a turn each."""
    run('promtool', 'tsdb', 'create-blocks-from', 'rules', '--start', epoch, '--end', epoch + LENGTH, '--eval-interval',
        f'{STEP}s', '--output-dir', folder / 'rules', '--url', f'http://{prometheus.address}',
        FLEET / 'prometheus/rules/routers.yml', FLEET / 'prometheus/rules/traffic.yml')
    for block in (folder / 'rules').iterdir():
        shutil.move(block, folder / 'data')


def empty_config(folder):
    config = folder / 'past.yml'
    config.write_text('global: {scrape_interval: 15s}\n', encoding='utf-8')
    return config


class Happening:
    """A line of the life file."""

    def __init__(self, line):
        words = line.split()
        self.start, self.end, self.every, self.router = map(int, words[:4])
        self.kind = words[4]
        self.argument = words[5] if len(words) > 5 else ''
        self.instance = f'r{self.router:05d}'

    def starts(self):
        if self.every == 0:
            return [self.start]
        return list(range(self.start, LENGTH + 1, self.every))

    def length(self):
        return self.end - self.start


def read_life(file=LIFE):
    lines = (re.sub('#.*', '', line).strip() for line in file.read_text(encoding='utf-8').splitlines())
    return [Happening(line) for line in lines if line]


def epoch_of_the_past():
    """The fleet's start, so that its hour has just ended. A whole number of steps: the same hour each time."""
    return (int(time.time()) - LENGTH - STEP) // STEP * STEP
