"""One real server, for a minute at most, over fifty simulated routers: discovery, relabelling, rules, alerts up to the message
that somebody reads, the boards' queries, and a site that pushes."""

import pathlib
import re
import unittest
import urllib.parse
import urllib.request

from boards_test import BOARDS, VARIABLES, read_board, targets
from support import FLEET, FleetTest, Process, Prometheus, Simulator, free_port, run, wait_for

ROUTERS = 50
LIFE = pathlib.Path(__file__).parent / 'live.life'

# Inventories as people write them, and what becomes of them.
TARGETS = """
- targets: ['127.0.0.1:1']
  labels: {__meta_router: R1, __meta_site: North, __meta_model: Cellular, __meta_firmware: v4.2.1-rc3+17}
- targets: ['r9.south.example.invalid:80']
- targets: ['127.0.0.2:2']
  labels: {__meta_firmware: nightly}
- targets: ['127.0.0.3:3']
  labels: {__meta_scrape: 'no', __meta_router: pushed}
"""
RELABELLED = {
    'R1': ('north', 'cellular', '4.2.1'),
    'r9.south.example.invalid': ('south', 'unknown', 'unknown'),
    '127.0.0.2': ('unknown', 'unknown', 'unknown'),
}


class LiveTest(FleetTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.routers = cls.start(Simulator(cls.folder, '--routers', ROUTERS, '--life', LIFE))
        cls.mail = cls.start(Process(cls.folder, 'mail', [FLEET / 'show-mail']))
        mail = wait_for('the address for mail', lambda: cls.mail.said().split('\n')[0], 10)
        alerts = f'127.0.0.1:{free_port()}'
        run(FLEET / 'configure', cls.folder, cls.routers.address, alerts, mail, '--hurry')
        (cls.folder / 'prometheus/targets/some.yml').write_text(TARGETS, encoding='utf-8')
        cls.start(Process(cls.folder, 'alertmanager', [
            'prometheus-alertmanager', f'--config.file={cls.folder}/alertmanager/alertmanager.yml',
            f'--storage.path={cls.folder}/alerts', f'--web.listen-address={alerts}', '--cluster.listen-address=',
            '--web.external-url=http://alerts.example.org/']))
        cls.server = cls.start(Prometheus(cls.folder, cls.folder / 'prometheus/prometheus.yml'))

    # ---- Discovery

    def test_all_routers_are_scraped_but_the_one_that_is_gone(self):
        query = 'count(up{job="dashboard",site=~"site-.*"} == 1)'
        wait_for('scrapes of all', lambda: self.server.query(query) == [({}, ROUTERS - 1)], 30)

    def test_inventories_are_relabelled(self):
        targets = self.server.ask('targets')['activeTargets']
        found = {target['labels']['instance']: tuple(target['labels'][name] for name in ('site', 'model', 'firmware'))
                 for target in targets}
        self.assertEqual({name: labels for name, labels in found.items() if not re.fullmatch(r'r\d{5}', name)}, RELABELLED)
        self.assertEqual(len(found), ROUTERS + len(RELABELLED))
        self.assertEqual(found['r00012'][:2], ('site-001', 'cellular'))

    def test_nothing_is_dropped_or_counted_twice(self):
        wait_for('scrapes', lambda: self.server.query('count(up == 1) > 40'), 30)
        with urllib.request.urlopen(f'http://{self.server.address}/metrics', timeout=10) as answer:
            own = answer.read().decode()
        for name in ('duplicate_timestamp', 'out_of_order', 'out_of_bounds'):
            self.assertIn(f'\nprometheus_target_scrapes_sample_{name}_total 0\n', own)
        self.assertIn('\nprometheus_target_scrapes_exceeded_sample_limit_total 0\n', own)
        self.assertEqual(self.server.query('count(scrape_samples_scraped{job="dashboard"} > 400)'), [])

    # ---- Rules

    def rules(self):
        return [rule for group in self.server.ask('rules')['groups'] for rule in group['rules']]

    def test_every_rule_is_evaluated_without_complaint(self):
        rules = wait_for('evaluations', lambda: all(rule['health'] != 'unknown' for rule in self.rules()) and self.rules(), 30)
        self.assertEqual([(rule['name'], rule.get('lastError')) for rule in rules if rule['health'] != 'ok'], [])
        self.assertEqual(len(rules), sum(len(re.findall(r'- (?:alert|record):', file.read_text(encoding='utf-8')))
                                         for file in (FLEET / 'prometheus/rules').glob('*.yml')))

    # ---- Messages

    def message_about(self, subject):
        parts = self.mail.said().split('-' * 72)
        return next((part.strip() for part in parts if re.search(rf'^Subject: {subject}$', part, re.M)), None)

    def test_a_message_reads_well(self):
        said = wait_for('a message about r00024',
                        lambda: self.message_about(r'\[critical\] The statistics daemon of r00024 does not run'), 40)
        said = re.sub(r'Since:    \d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC', 'Since:    THEN', said)
        said = said.removeprefix(self.mail.said().split('\n')[0]).strip()
        self.assertRegex(said, r"""^To: on-call@example.org
Subject: \[critical\] The statistics daemon of r00024 does not run

The router answers, but nothing is measured. Run "dashboardctl status" on it, and look at its log.

\* The statistics daemon of r00024 does not run
  Site:     site-002
  Router:   r00024 \(large, firmware 4\.\d\.\d\)
  Since:    THEN

http://alerts.example.org$""")

    def test_other_causes_are_told_too(self):
        for subject in (r'\[critical\] Router r00005 does not answer', r'\[critical\] WAN of r00022 is down: wan2',
                        r'\[warning\] The clock of r00013 is (5m 0s|4m 59s) off'):
            with self.subTest(subject):
                wait_for(subject, lambda: self.message_about(subject), 40)

    # ---- Boards

    def board_answers(self, query):
        # One router of each model: small, cellular with both SIMs, cellular, large. r00003 is restarted, r00012 has a WAN that is.
        for router in ('r00000', 'r00002', 'r00003', 'r00004', 'r00012') if '$router' in query else ('',):
            found = self.server.query(query.replace('$router', router))
            if found:
                return found
        return None

    def check_legend(self, legend, answer):
        """Every label that a legend names is there, and no two lines have the same legend."""
        names = re.findall(r'\{\{(\w+)\}\}', legend)
        legends = [tuple(labels.get(name, '') for name in names) for labels, _ in answer]
        self.assertNotIn('', sum(legends, ()), legend)
        self.assertEqual(len(set(legends)), len(answer), legend)
        self.assertNotEqual(legend + ''.join(names), '')

    def check_columns(self, panel, answer):
        """Every column has a heading of its own, or is hidden."""
        options = panel['transformations'][0]['options']
        shown = {label for labels, _ in answer for label in labels} - set(options['excludeByName'])
        self.assertLessEqual(shown, set(options['renameByName']))
        headings = {options['renameByName'][label] for label in shown | {'Value'}}
        self.assertLessEqual({sort['displayName'] for sort in panel['options'].get('sortBy', [])}, headings)

    def test_the_server_has_an_answer_to_every_query_of_the_boards(self):
        for board in BOARDS:
            for panel, target, query in targets(board):
                with self.subTest(panel['title'], query=query):
                    answer = wait_for(f'an answer for {query}', lambda: self.board_answers(query), 45)
                    if panel['type'] == 'table':
                        self.check_columns(panel, answer)
                    elif panel['type'] == 'stat':
                        self.assertEqual(len(answer), 1)
                    else:
                        self.check_legend(target['legendFormat'], answer)

    def test_variables_of_the_boards_have_values(self):
        values = {'site': 8, 'router': ROUTERS + len(RELABELLED)}
        for variable in (variable for board in BOARDS for variable in read_board(board)['templating']['list'][1:]):
            series, label = re.fullmatch(r'label_values\((.*), (\w+)\)', variable['query']).groups()
            match = urllib.parse.urlencode({'match[]': series.replace('$site', VARIABLES['$site'])})
            wait_for(f'values of {variable["name"]}', lambda path=f'label/{label}/values?{match}', name=variable['name']:
                     len(self.server.ask(path)) == values[name], 30)


class PushTest(FleetTest):
    """A site behind an address translation: an agent there scrapes, and pushes to the server."""

    def test_what_an_agent_pushes_is_as_if_scraped(self):
        routers = self.start(Simulator(self.folder, '--routers', 10))
        config = self.folder / 'server.yml'
        config.write_text('global: {scrape_interval: 15s}\n', encoding='utf-8')
        server = self.start(Prometheus(self.folder, config, '--web.enable-remote-write-receiver'))
        run(FLEET / 'configure', self.folder, routers.address, '127.0.0.1:1', '127.0.0.1:1', '--hurry')
        agent = self.folder / 'prometheus/agent.yml'
        agent.write_text(agent.read_text(encoding='utf-8').replace('127.0.0.1:9090', server.address), encoding='utf-8')
        self.start(Prometheus(self.folder, agent, name='agent', data='agent', agent=True))

        query = 'rate(dashboard_traffic_bytes_total{instance="r00002",kind="wan",interface="wan2",direction="receive"}[1m])'
        labels, rate = wait_for('a rate', lambda: server.query(query), 40)[0]
        self.assertGreater(rate, 0)
        self.assertEqual((labels['site'], labels['model'], labels['job']), ('site-000', 'cellular', 'dashboard'))
        self.assertEqual(server.query('count(up{job="dashboard"} == 1)'), [({}, 10)])
        # What the agent leaves at home.
        self.assertEqual(server.query('count({__name__=~"dashboard_view_.*|dashboard_port_use"})'), [])


if __name__ == '__main__':
    unittest.main()
