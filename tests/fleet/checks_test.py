"""What the servers' own tools say of the configurations, the rules and the messages."""

import json
import os
import pathlib
import re
import unittest

from rules import firing, read_rules
from support import FLEET, ROOT, FleetTest, run

# With its own time zone a message would read differently on every machine.
os.environ['TZ'] = 'UTC'


def alert(number, status='firing'):
    return {'status': status, 'startsAt': '2026-11-21T20:31:40Z', 'endsAt': '2026-11-21T20:41:40Z',
            'labels': {'alertname': 'DashboardRouterGone', 'severity': 'critical', 'site': 'north', 'instance': f'r{number}',
                       'model': 'small', 'firmware': '4.2.0'},
            'annotations': {'summary': f'Router r{number} does not answer', 'description': 'Look at its power.'}}


class ChecksTest(FleetTest):
    def test_configuration(self):
        said = run('promtool', 'check', 'config', FLEET / 'prometheus/prometheus.yml')
        self.assertIn('3 rule files found', said)
        run('promtool', 'check', 'config', '--agent', FLEET / 'prometheus/agent.yml')

    def test_rules_do_what_their_cases_say(self):
        cases = sorted((FLEET / 'prometheus/tests').glob('*.test.yml'))
        said = run('promtool', 'test', 'rules', *cases)
        self.assertEqual(said.count('SUCCESS'), len(cases))

    def test_every_alert_has_a_case_that_fires_and_one_that_does_not(self):
        text = ''.join(file.read_text(encoding='utf-8') for file in (FLEET / 'prometheus/tests').glob('*.test.yml'))
        alerts = [name for name, _, _ in read_rules('alerts')]
        self.assertGreaterEqual(len(alerts), 16)
        for name in alerts:
            self.assertRegex(text, rf'alertname: {name}\n +eval_time: \w+\n +exp_alerts:\n +- exp_labels', f'{name} fires nowhere')
            self.assertRegex(text, rf'alertname: {name}, eval_time: \w+, exp_alerts: \[\]', f'{name} rests nowhere')

    def test_examples_of_the_handbook_are_valid(self):
        text = (ROOT / 'docs/fleet.md').read_text(encoding='utf-8')
        examples = re.findall(r'```yaml\n(.*?)```', text, re.S)
        self.assertGreaterEqual(len(examples), 2)
        for number, example in enumerate(examples):
            file = self.folder / f'example-{number}.yml'
            file.write_text(example, encoding='utf-8')
            run('promtool', 'check', 'config', '--syntax-only', file)

    # ---- Messages

    def test_routes(self):
        config = FLEET / 'alertmanager/alertmanager.yml'
        run('amtool', 'check-config', config)
        for severity, receiver in (('critical', 'on_call'), ('warning', 'operators')):
            said = run('amtool', 'config', 'routes', 'test', '--config.file', config, f'severity={severity}',
                       'alertname=DashboardCpuHigh')
            self.assertEqual(said.splitlines()[0], receiver)

    def render(self, template, alerts):
        data = {'status': alerts[0]['status'], 'receiver': 'operators', 'externalURL': 'http://alerts.example.org',
                'alerts': alerts, 'groupLabels': {'alertname': 'DashboardRouterGone', 'site': 'north'},
                'commonLabels': {'alertname': 'DashboardRouterGone', 'site': 'north', 'severity': 'critical'},
                'commonAnnotations': {}}
        file = pathlib.Path(self.folder / 'alerts.json')
        file.write_text(json.dumps(data), encoding='utf-8')
        return run('amtool', 'template', 'render', '--template.glob', FLEET / 'alertmanager/dashboard.tmpl',
                   '--template.data', file, '--template.type', 'text', '--template.text', '{{ template "%s" . }}' % template)

    def test_message_about_two(self):
        alerts = [alert(1), alert(2)]
        self.assertEqual(self.render('dashboard.subject', alerts).strip(),
                         '[critical] north: 2 routers or lines, DashboardRouterGone')
        self.assertEqual(self.render('dashboard.text', alerts).strip(), """Look at its power.

* Router r1 does not answer
  Site:     north
  Router:   r1 (small, firmware 4.2.0)
  Since:    2026-11-21 20:31:40 UTC

* Router r2 does not answer
  Site:     north
  Router:   r2 (small, firmware 4.2.0)
  Since:    2026-11-21 20:31:40 UTC

http://alerts.example.org""")

    def test_message_when_it_is_over(self):
        alerts = [alert(1, 'resolved')]
        self.assertEqual(self.render('dashboard.subject', alerts).strip(), '[over] north: Router r1 does not answer')
        self.assertEqual(self.render('dashboard.text', alerts).strip(), """Over:

* Router r1 does not answer
  Site:     north
  Router:   r1 (small, firmware 4.2.0)
  Since:    2026-11-21 20:31:40 UTC
  Until:    2026-11-21 20:41:40 UTC

http://alerts.example.org""")

    def test_message_about_very_many(self):
        text = self.render('dashboard.text', [alert(number) for number in range(25)])
        self.assertEqual(text.count('does not answer'), 20)
        self.assertIn('... and 5 more.', text)


class FiringTest(unittest.TestCase):
    """The tests' own reckoning of how long an alert has been pending."""

    def test_pending_counts_from_the_first_of_an_unbroken_row(self):
        self.assertEqual(firing({0: 1, 15: 1, 30: 1}, 30, 15), [30])
        self.assertEqual(firing({0: 1, 30: 1, 45: 1}, 30, 15), [])
        self.assertEqual(firing({60: 1}, 0, 15), [60])


if __name__ == '__main__':
    unittest.main()
