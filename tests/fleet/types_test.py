"""The boards against Grafana's own types, and its table of units: what it would not understand is refused by its compiler."""

import copy
import json
import pathlib
import re
import shutil
import unittest

from boards_test import BOARDS
from support import FLEET, ROOT, FleetTest, run

PACKAGES = ROOT / 'build/npm/node_modules'
OPTIONS = {'strict': True, 'noEmit': True, 'skipLibCheck': True, 'module': 'esnext', 'moduleResolution': 'bundler',
           'target': 'es2022', 'types': []}


def units():
    text = (PACKAGES / '@grafana/data/dist/esm/valueFormats/categories.mjs').read_text(encoding='utf-8')
    return re.findall(r'^ *id: "([^"]+)"', text, re.M)


def board(name):
    return json.loads((FLEET / f'grafana/{name}.json').read_text(encoding='utf-8'))


def panel(made, kind):
    return next(panel for panel in made['panels'] if panel['type'] == kind)


# Faults: the board that has it, the word that the compiler must complain about, and what makes it.
FAULTS = {
    'a misspelt field of the board': ('refersh', lambda made: made.update(refersh='1m')),
    'a misspelt field of a panel': ('descripton', lambda made: panel(made, 'stat').update(descripton='')),
    'a misspelt field of a row': ('colapsed', lambda made: panel(made, 'row').update(colapsed=False)),
    'a field that is missing': ("'legend'", lambda made: panel(made, 'timeseries')['options'].pop('legend')),
    'a width that is text': ("'string'", lambda made: panel(made, 'table')['gridPos'].update(w='12')),
    'a kind that does not exist': ('timeserie', lambda made: panel(made, 'timeseries').update(type='timeserie')),
    "another kind's option": ('showHeader', lambda made: panel(made, 'stat')['options'].update(showHeader=True)),
    'a misspelt option': ('texMode', lambda made: panel(made, 'stat')['options'].update(texMode='value')),
    "an option's value": ('"values"', lambda made: panel(made, 'stat')['options'].update(textMode='values')),
    'a place for the legend': ('"botom"', lambda made: panel(made, 'timeseries')['options']['legend'].update(placement='botom')),
    'a calculation': ('"lastNotNil"', lambda made: panel(made, 'stat')['options']['reduceOptions'].update(calcs=['lastNotNil'])),
    'a unit': ('"bytes/s"', lambda made: panel(made, 'timeseries')['fieldConfig']['defaults'].update(unit='bytes/s')),
    'a mapping': ('"values"', lambda made: panel(made, 'state-timeline')['fieldConfig']['defaults']['mappings'][0]
                  .update(type='values')),
    'thresholds': ('"absolut"', lambda made: panel(made, 'stat')['fieldConfig']['defaults']['thresholds']
                   .update(mode='absolut')),
    'a misspelt field of a query': ('legendFromat', lambda made: panel(made, 'table')['targets'][0].update(legendFromat='')),
    'a form of answers': ('"tables"', lambda made: panel(made, 'table')['targets'][0].update(format='tables')),
    'a transformation': ('"organise"', lambda made: panel(made, 'table')['transformations'][0].update(id='organise')),
    "a transformation's option": ('hideByName', lambda made: panel(made, 'table')['transformations'][0]['options']
                                  .update(hideByName={})),
    'an override': ('"custom.witdh"', lambda made: panel(made, 'table')['fieldConfig']['overrides'].append(
        {'matcher': {'id': 'byName', 'options': 'Site'}, 'properties': [{'id': 'custom.witdh', 'value': 100}]})),
    'a matcher': ('"byNme"', lambda made: panel(made, 'table')['fieldConfig']['overrides'].append(
        {'matcher': {'id': 'byNme', 'options': 'Site'}, 'properties': [{'id': 'custom.width', 'value': 100}]})),
    'a kind of variable': ('"quary"', lambda made: made['templating']['list'][1].update(type='quary')),
    'when a variable is read': ("'7'", lambda made: made['templating']['list'][1].update(refresh=7)),
    'a shared crosshair': ("'5'", lambda made: made.update(graphTooltip=5)),
}


class TypesTest(FleetTest):
    """All is compiled at once, which takes as long as one board."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        (cls.folder / 'node_modules').symlink_to(PACKAGES)
        shutil.copy(pathlib.Path(__file__).parent / 'board.ts', cls.folder)
        (cls.folder / 'unit.ts').write_text(f'export type Unit = {" | ".join(map(json.dumps, units()))};\n', encoding='utf-8')
        made = {name: board(name) for name in BOARDS}
        # Faults are made in a board of one panel of each kind, which the router's has.
        kinds = {one['type'] for one in made['router']['panels']}
        small = {**made['router'], 'panels': [panel(made['router'], kind) for kind in sorted(kinds)]}
        made['small'] = small
        for number, (_, spoil) in enumerate(FAULTS.values()):
            made[f'fault{number}'] = copy.deepcopy(small)
            spoil(made[f'fault{number}'])
        for name, one in made.items():
            text = f"import type {{ Board }} from './board';\nexport const board = {json.dumps(one, indent=1)} satisfies Board;\n"
            (cls.folder / f'{name}.ts').write_text(text, encoding='utf-8')
        (cls.folder / 'tsconfig.json').write_text(
            json.dumps({'compilerOptions': OPTIONS, 'files': [f'{name}.ts' for name in made]}), encoding='utf-8')
        try:
            cls.said = run('node', PACKAGES / 'typescript/lib/tsc.js', '--pretty', 'false', '-p', cls.folder, cwd=cls.folder)
        except AssertionError as error:
            cls.said = str(error)

    def complaints(self, name):
        """What the compiler says about a file: its lines, and those that are indented below them."""
        return ''.join(re.findall(rf'^{name}\.ts\(.*\n(?: .*\n)*', self.said, re.M))

    def test_units_are_read(self):
        self.assertGreater(len(units()), 200)
        self.assertLessEqual({'short', 'Bps', 'dBm'}, set(units()))

    def test_types_are_found(self):
        for name in ('board', 'unit'):
            self.assertEqual(self.complaints(name), '')

    def test_boards_are_what_grafana_takes(self):
        for name in (*BOARDS, 'small'):
            self.assertEqual(self.complaints(name), '')

    def test_a_fault_is_refused(self):
        for number, (fault, (word, _)) in enumerate(FAULTS.items()):
            with self.subTest(fault):
                said = self.complaints(f'fault{number}')
                self.assertIn(word, said)
                self.assertEqual(said.count(': error TS'), 1, said)


if __name__ == '__main__':
    unittest.main()
