"""The alert rules as their file has them. The file is YAML; promtool reads it as such, here its lines are enough."""

import re

from support import FLEET


def seconds(duration):
    return int(duration[:-1]) * {'s': 1, 'm': 60, 'h': 3600}[duration[-1]]


def read_rules(name):
    """Pairs of (name, expression, seconds of `for`) of a rules file: of alerts and records."""
    rules = []
    text = (FLEET / f'prometheus/rules/{name}.yml').read_text(encoding='utf-8')
    for part in re.split(r'^      - (?=alert:|record:)', text, flags=re.M)[1:]:
        title = re.match(r'(?:alert|record): (\S+)', part).group(1)
        folded = re.search(r'^        expr: >-\n((?:          .*\n)+)', part, re.M)
        plain = re.search(r'^        expr: (?!>-)(.*)$', part, re.M)
        expression = ' '.join(folded.group(1).split()) if folded else plain.group(1)
        duration = re.search(r'^        for: (\S+)$', part, re.M)
        rules.append((title, expression, seconds(duration.group(1)) if duration else 0))
    return rules


def firing(values, pending, step):
    """The seconds at which an alert fires whose expression had something at the seconds of `values`: from the one on at which
    it has been so for `pending` seconds without a gap."""
    fires = []
    since = None
    for second in sorted(values):
        if since is None or second - before > step:
            since = second
        before = second
        if second - since >= pending:
            fires.append(second)
    return fires
