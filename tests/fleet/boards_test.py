"""The boards: committed as they are made, and made of what there is."""

import json
import pathlib
import re
import unittest

from support import FLEET, ROOT, FleetTest, run

BOARDS = ('fleet', 'router')
# What Grafana fills in.
VARIABLES = {'$site': '.*', '$__rate_interval': '1m'}


def read_board(board):
    return json.loads((FLEET / f'grafana/{board}.json').read_text(encoding='utf-8'))


def targets(board):
    """(panel, target, query) of every query of a board, with its variables filled in, but for $router."""
    for panel in read_board(board)['panels']:
        for target in panel.get('targets', []):
            query = target['expr']
            for variable, value in VARIABLES.items():
                query = query.replace(variable, value)
            yield panel, target, query


def queries(board):
    return [query for _, _, query in targets(board)]


def table_of_metrics():
    text = (ROOT / 'docs/metrics.md').read_text(encoding='utf-8')
    return re.findall(r'^\| `(dashboard_\w+)` \| (?:gauge|counter|info) \|', text, re.M)


class BoardsTest(FleetTest):
    def test_committed_boards_are_those_of_the_generator(self):
        run(FLEET / 'grafana/make-boards', self.folder)
        for board in BOARDS:
            self.assertEqual((self.folder / f'{board}.json').read_text(encoding='utf-8'),
                             (FLEET / f'grafana/{board}.json').read_text(encoding='utf-8'), 'run fleet/grafana/make-boards')

    def test_every_query_is_one(self):
        lines = ['groups:', '- name: boards', '  rules:']
        for number, query in enumerate(query for board in BOARDS for query in queries(board)):
            lines.append('  - {record: "board:query:%d", expr: %s}' % (number, json.dumps(query.replace('$router', 'r'))))
        rules = pathlib.Path(self.folder / 'queries.yml')
        rules.write_text('\n'.join(lines) + '\n', encoding='utf-8')
        said = run('promtool', 'check', 'rules', '--lint=none', rules)
        self.assertIn(f'{len(lines) - 3} rules found', said)

    def test_every_metric_is_on_the_board_of_a_router(self):
        shown = ' '.join(queries('router'))
        names = table_of_metrics()
        self.assertGreater(len(names), 25)
        for name in names:
            self.assertRegex(shown, rf'\b{name}\b')

    def test_panels_neither_overlap_nor_leave_holes(self):
        for board in BOARDS:
            taken = set()
            for panel in read_board(board)['panels']:
                place = panel['gridPos']
                cells = {(x, y) for x in range(place['x'], place['x'] + place['w'])
                         for y in range(place['y'], place['y'] + place['h'])}
                self.assertFalse(cells & taken, panel['title'])
                taken |= cells
            height = max(y for _, y in taken) + 1
            self.assertEqual(taken, {(x, y) for x in range(24) for y in range(height)})

    def test_titles_are_told_apart(self):
        for board in BOARDS:
            titles = [panel['title'] for panel in read_board(board)['panels'] if panel['type'] != 'row']
            self.assertEqual(len(titles), len(set(titles)))
            self.assertEqual([title for title in titles if not re.fullmatch(r'[A-Z0-9][^_]+', title)], [])


if __name__ == '__main__':
    unittest.main()
