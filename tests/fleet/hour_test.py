"""An hour of simulated life: rates are what was sent, every alert has its cause, and every cause its alert."""

import collections
import unittest

import hour
from rules import firing, read_rules
from support import FleetTest, Prometheus

# What is to be told of a happening, how long it must last, and within which time it is told. A happening that does not last
# so long must not be told.
Expected = collections.namedtuple('Expected', 'alert least within')
EXPECTED = {
    'slow': Expected('DashboardScrapeSlow', 620, 660),
    'gone': Expected('DashboardRouterGone', 210, 240),
    'daemon_dead': Expected('DashboardDaemonDead', 75, 120),
    'stale': Expected('DashboardDocumentsStale', 150, 200),
    'down': Expected('DashboardWanDown', 90, 120),
    'cpu': Expected('DashboardCpuHigh', 550, 660),
    'memory': Expected('DashboardMemoryHigh', 620, 660),
    'connections': Expected('DashboardConnectionTableFull', 140, 180),
    'signal': Expected('DashboardWeakSignal', 560, 660),
    'sim_flap': Expected('DashboardSimFlapping', 420, 660),
    'clock': Expected('DashboardClockWrong', 320, 360),
}
# Windows of the past that an alert goes on to see after its cause has gone.
AFTERMATH = {'DashboardSimFlapping': 660, 'DashboardCpuHigh': 300, 'DashboardWeakSignal': 300,
             'DashboardCounterRestarting': 1900, 'DashboardRouterRestarting': 3600, 'DashboardDaemonRestarting': 3600}


class Worst:
    """The largest errors of a group, as shares of the link's usual rate."""

    def __init__(self):
        self.compared = 0
        self.above = 0
        self.below = 0

    def add(self, error):
        self.compared += 1
        self.above = max(self.above, error)
        self.below = min(self.below, error)

    def __repr__(self):
        return f'{self.below:+.2%} to {self.above:+.2%} ({self.compared})'


def by_link(rows):
    names = ('instance', 'kind', 'interface', 'direction')
    return {tuple(labels[name] for name in names): values for labels, values in rows}


def worst_errors(server, epoch, step, group_of, length=hour.LENGTH):
    """Holds rate() over five minutes against the bytes that really went over each link in them. `group_of` tells of a link
    and a second since the fleet's start what to count it under."""
    start, end = epoch + 330, epoch + length
    kinds = '{kind=~"wan|lan|wifi_24|wifi_50"}'
    current = '{kind="current",interface=~"eth0|usbnet0|br0"}'
    worst = collections.defaultdict(Worst)
    for kind in (kinds, current):
        rates = by_link(server.series(f'rate(dashboard_traffic_bytes_total{kind}[5m])', start, end, step))
        sent = by_link(server.series(f'(fleet_truth_bytes_total{kind} - fleet_truth_bytes_total{kind} offset 5m) / 300',
                                     start, end, step))
        for link, values in rates.items():
            usual = max(sent[link].values())
            for second, rate in values.items():
                worst[group_of(link, second - epoch)].add((rate - sent[link][second]) / usual)
    return dict(worst)


class FrequentScrapesTest(FleetTest):
    """Scrapes every five seconds: within 2 % through restarts, too."""

    def test_rates_are_what_was_sent_through_restarts(self):
        length = 1800
        life = hour.LIFE.parent / 'restarts.life'
        epoch = hour.epoch_of_the_past()
        hour.write_blocks(self.folder, epoch, routers=8, step=5, life=life, length=length, truth_step=1)
        server = self.start(Prometheus(self.folder, hour.empty_config(self.folder), '--query.lookback-delta=6s'))
        happenings = hour.read_life(life)

        def group_of(link, second):
            # Current traffic is published every third second: as much more may be lost.
            if link[1] == 'current':
                return 'current'
            # Whether the window begins or ends before the router has been scraped again.
            edges = (edge for edge in (second - 300, second) for what in happenings for start in what.starts()
                     if what.instance == link[0] and start <= edge <= start + what.length() + 5)
            return 'cut' if any(True for _ in edges) else 'whole'

        worst = worst_errors(server, epoch, 5, group_of, length)
        print('worst, of the usual rate:', worst)
        self.assertGreater(worst['whole'].compared, 10000)
        self.assertLess(worst['whole'].above, 0.02)
        self.assertGreater(worst['whole'].below, -0.02)
        # At its edges rate() guesses, by half a scrape's distance at most.
        for group in ('cut', 'current'):
            self.assertGreater(worst[group].compared, 500)
            self.assertLess(worst[group].above, 0.03)
            self.assertGreater(worst[group].below, -0.03)


class HourTest(FleetTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.epoch = hour.epoch_of_the_past()
        hour.write_blocks(cls.folder, cls.epoch)
        config = hour.empty_config(cls.folder)
        first = cls.start(Prometheus(cls.folder, config, hour.LOOKBACK))
        hour.add_rules(cls.folder, cls.epoch, first)
        first.end()
        cls.server = cls.start(Prometheus(cls.folder, config, hour.LOOKBACK))

    def series(self, query, start=0):
        return self.server.series(query, self.epoch + start, self.epoch + hour.LENGTH, hour.STEP)

    # ---- Alerts

    def told(self):
        """(alert, labels, seconds since the fleet's start at which it fires) of everything that fires."""
        for name, expression, pending in read_rules('alerts'):
            for labels, values in self.series(expression):
                fires = [second - self.epoch for second in firing(values, pending, hour.STEP)]
                if fires:
                    yield name, labels, fires

    def causes(self):
        """(alert, what names it, first second, last second at which it must begin, last at which it may fire)"""
        for what in hour.read_life():
            expected = EXPECTED.get(what.kind)
            if expected and what.length() >= expected.least:
                after = AFTERMATH.get(expected.alert, 0) + 2 * hour.STEP
                yield expected.alert, what.instance, what.start, what.start + expected.within, what.end + after
        yield 'DashboardSiteGone', 'site-001', 2400, 2400 + 150, 2800 + 2 * hour.STEP
        yield 'DashboardSiteSilent', 'site-005', 1800, 1800 + 360, 2400 + 2 * hour.STEP
        # The fourth restart of a router's WAN within half an hour, the third of a router within an hour, and of a daemon.
        yield 'DashboardCounterRestarting', 'r00032', 600, 600 + 3 * 300 + 30, hour.LENGTH
        yield 'DashboardRouterRestarting', 'r00020', 900, 900 + 2 * 600 + 60 + 30, hour.LENGTH
        yield 'DashboardDaemonRestarting', 'r00026', 900, 900 + 2 * 600 + 15 + 30, hour.LENGTH

    def test_every_alert_has_its_cause_and_every_cause_its_alert(self):
        causes = list(self.causes())
        met = set()
        for name, labels, fires in self.told():
            subject = labels.get('instance', labels.get('site'))
            fitting = [cause for cause in causes if cause[:2] == (name, subject)]
            with self.subTest(alert=name, subject=subject):
                self.assertTrue(fitting, f'{name} of {labels} without a cause, at {fires[0]}')
                _, _, start, latest, end = fitting[0]
                self.assertGreater(fires[0], start)
                self.assertLessEqual(fires[0], latest)
                self.assertLessEqual(fires[-1], end)
            met.update(fitting)
        self.assertEqual(set(causes) - met, set(), 'causes that nobody was told of')

    def test_every_alert_has_a_cause_in_this_hour(self):
        alerts = {name for name, _, _ in read_rules('alerts')}
        self.assertEqual(alerts, {cause[0] for cause in self.causes()})

    # ---- Rates

    def test_rates_are_what_was_sent(self):
        groups = self.groups(hour.read_life())
        worst = worst_errors(self.server, self.epoch, hour.STEP, lambda link, _: groups.get(link[0], 'plain'))
        print('worst, of the usual rate:', worst)
        self.assertLess(worst['plain'].above, 0.02)
        self.assertGreater(worst['plain'].below, -0.02)
        # Around a restart, up to a scrape's distance of the window is lost or guessed.
        bound = 0.02 + hour.STEP / 300
        for group in ('restart', 'down', 'reboot'):
            self.assertLess(worst[group].above, bound)
            self.assertGreater(worst[group].below, -bound)
        # Nobody was there to be asked: less is known, but nothing is made up.
        self.assertLess(worst['unknown'].above, bound)

    @staticmethod
    def groups(happenings):
        groups = {}
        for what in happenings:
            if what.kind in ('gone', 'silent', 'daemon_dead', 'stale'):
                groups[what.instance] = 'unknown'
            elif what.kind in ('down', 'reboot', 'restart'):
                groups[what.instance] = what.kind
        return groups

    def test_no_rate_is_negative_or_giant(self):
        rows = self.series('rate(dashboard_traffic_bytes_total[5m])')
        self.assertGreater(len(rows), 2000)
        fastest = max(max(values.values()) for _, values in rows)
        slowest = min(min(values.values()) for _, values in rows)
        self.assertGreaterEqual(slowest, 0)
        # No simulated link carries more than 2.3 Mbyte/s, both directions together.
        self.assertLess(fastest, 2300000)


if __name__ == '__main__':
    unittest.main()
