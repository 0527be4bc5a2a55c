"""The simulated routers themselves: what the other tests take for granted of them."""

import http.client
import json
import re
import socket
import subprocess
import time
import unittest
import urllib.error
import urllib.request

from support import FLEET, ROUTERS, FleetTest, Simulator


def call(*options):
    return subprocess.run([str(word) for word in (ROUTERS, *options)], capture_output=True, text=True, timeout=60, check=False)


def place_of(simulator):
    host, port = simulator.address.split(':')
    return host, int(port)


class SimulatorTest(FleetTest):
    def history(self, life, *options):
        file = self.folder / 'some.life'
        file.write_text(life, encoding='utf-8')
        done = call('--recorded', FLEET / 'recorded', '--routers', 5, '--epoch', 1795000000, '--step', 15, '--life', file,
                    *options)
        self.assertEqual((done.returncode, done.stderr), (0, ''))
        return done.stdout

    def values(self, text, name, *labels):
        """The values of one series, by second since the epoch."""
        found = {}
        for line in text.splitlines():
            if line.startswith(name + '{') and all(label in line for label in labels):
                _, value, second = line.rsplit(' ', 2)
                found[int(second) - 1795000000] = float(value)
        return found

    def test_the_same_question_gets_the_same_answer(self):
        def timeless(text):
            return re.sub(r'(scrape_duration_seconds\{[^}]*\}) \S+', r'\1', text)

        self.assertEqual(timeless(self.history('', '--history', 30)), timeless(self.history('', '--history', 30)))

    def test_a_restart_of_the_router_counts_from_zero_and_leaves_a_gap(self):
        text = self.history('100 130 0 2 reboot\n', '--history', 300)
        wan = self.values(text, 'dashboard_traffic_bytes_total', '"r00002"', '"wan1"', '"receive"')
        before = [value for second, value in wan.items() if second < 100]
        after = [value for second, value in wan.items() if second >= 130]
        self.assertFalse([second for second in wan if 100 <= second < 130])
        self.assertLess(max(after), min(before))
        self.assertEqual(after, sorted(after))
        up = self.values(text, 'up', '"r00002"')
        self.assertEqual({value for second, value in up.items() if 100 <= second < 130}, {0.0})
        truth = list(self.values(text, 'fleet_truth_bytes_total', '"r00002"', '"wan1"', '"receive"').values())
        self.assertEqual(truth, sorted(truth))

    def test_an_interface_that_was_down_goes_on_where_it_was(self):
        text = self.history('100 160 0 2 down usbnet0\n', '--history', 300)
        wan = self.values(text, 'dashboard_traffic_bytes_total', '"r00002"', '"wan2"', '"receive"')
        self.assertFalse([second for second in wan if 100 <= second < 160])
        self.assertEqual(list(wan.values()), sorted(wan.values()))
        up = self.values(text, 'dashboard_interface_up', '"r00002"', '"wan2"')
        self.assertEqual({value for second, value in up.items() if 100 <= second < 160}, {0.0})

    def test_what_happens_again_and_again_does_so(self):
        text = self.history('100 130 60 2 down usbnet0\n', '--history', 300)
        wan = self.values(text, 'dashboard_traffic_bytes_total', '"r00002"', '"wan2"', '"receive"')
        self.assertTrue(wan)
        self.assertFalse([second for second in wan if second >= 100 and (second - 100) % 60 < 30])
        self.assertEqual(list(wan.values()), sorted(wan.values()))

    def test_a_link_that_was_restarted_counts_from_zero_without_a_gap(self):
        text = self.history('100 100 0 2 restart usbnet0\n', '--history', 300)
        wan = self.values(text, 'dashboard_traffic_bytes_total', '"r00002"', '"wan2"', '"receive"')
        before = [value for second, value in wan.items() if second < 100]
        after = [value for second, value in wan.items() if second >= 100]
        self.assertLess(max(after), min(before))
        self.assertEqual(after, sorted(after))
        self.assertEqual(max(b - a for a, b in zip(list(wan), list(wan)[1:])), 15)

    def test_a_daemon_that_died_publishes_nothing_new(self):
        text = self.history('100 200 0 2 daemon_dead\n', '--history', 300)
        up = self.values(text, 'dashboard_up', '"r00002"')
        self.assertEqual({value for second, value in up.items() if 100 <= second < 200}, {0.0})
        self.assertEqual({value for second, value in up.items() if not 100 <= second < 200}, {1.0})
        # What is too old is not shown.
        cpu = self.values(text, 'dashboard_cpu_utilization_ratio', '"r00002"')
        self.assertTrue([second for second in cpu if second >= 200])
        self.assertFalse([second for second in cpu if 130 <= second < 200])

    def test_a_sim_that_flaps_comes_and_goes(self):
        text = self.history('100 200 0 2 sim_flap 30\n', '--history', 300)
        rsrp = self.values(text, 'dashboard_sim_rsrp_dbm', '"r00002"', '"1"')
        self.assertTrue([second for second in rsrp if second < 100])
        self.assertTrue([second for second in rsrp if second >= 200])
        self.assertFalse([second for second in rsrp if 145 <= second < 160])

    def test_what_cannot_be_read_or_written_is_told(self):
        recorded = ('--recorded', FLEET / 'recorded', '--routers', 1, '--history', 1)
        for options, words in (((*recorded, '--life', self.folder / 'none.life'), "none.life: can't be read"),
                               (('--recorded', self.folder / 'none'), 'none: No such file or directory')):
            done = call(*options)
            self.assertEqual(done.returncode, 1)
            self.assertIn(words, done.stderr)
        with open('/dev/full', 'w', encoding='utf-8') as full:
            done = subprocess.run([ROUTERS, *map(str, recorded)], stdout=full, stderr=subprocess.PIPE, text=True, timeout=60,
                                  check=False)
        self.assertEqual((done.returncode, done.stderr), (1, 'fleet_routers: No space left on device\n'))

    def test_its_help_names_its_options(self):
        done = call('--help')
        self.assertEqual((done.returncode, done.stderr), (0, ''))
        for option in ('--recorded', '--routers', '--life', '--port', '--epoch', '--history', '--step', '--truth-step'):
            self.assertIn(f'  {option} ', done.stdout)

    def test_a_life_that_is_no_such_is_refused_by_its_line(self):
        file = self.folder / 'wrong.life'
        for line in ('1 2 0 x gone', '1 two 0 3 gone', '1 2 0 3 sim_flap 0', '1 2 0 3 dance', '2 1 0 3 gone',
                     '1 2 0 3/0 gone', '1 2 0 3 cpu', '1 2 0 3 gone now', '1 20 10 3 gone'):
            file.write_text(f'# fine\n1 2 0 3 gone\n{line}\n', encoding='utf-8')
            done = call('--recorded', FLEET / 'recorded', '--life', file, '--history', 1)
            with self.subTest(line):
                self.assertEqual(done.returncode, 1)
                self.assertIn(f'line 3: {line}', done.stderr)

    def test_a_wrong_command_line_is_refused(self):
        for options in ((), ('--recorded',), ('--recorded', FLEET / 'recorded', '--routers', '0'), ('--dance', '1')):
            self.assertEqual(call(*options).returncode, 2, options)

    def test_a_daemon_that_restarts_alone_begins_anew(self):
        text = self.history('100 130 0 2 daemon_dead\n', '--history', 300)
        daemon = self.values(text, 'dashboard_daemon_uptime_seconds', '"r00002"')
        self.assertFalse([second for second in daemon if 100 <= second < 130])
        self.assertTrue(all(value == second - 130 for second, value in daemon.items() if second >= 130))
        router = list(self.values(text, 'dashboard_uptime_seconds', '"r00002"').values())
        self.assertEqual(router, sorted(router))

    def test_of_one_that_is_silent_nothing_is_written_down(self):
        text = self.history('100 160 0 2 silent\n', '--history', 300)
        for name in ('up', 'dashboard_up', 'scrape_duration_seconds'):
            seconds = self.values(text, name, '"r00002"')
            self.assertTrue(seconds)
            self.assertFalse([second for second in seconds if 100 <= second < 160])

    def test_one_that_is_silent_is_in_no_inventory_and_one_that_is_slow_answers_late(self):
        life = self.folder / 'late.life'
        life.write_text('0 600 0 1 silent\n0 600 0 2 slow 2\n', encoding='utf-8')
        simulator = self.start(Simulator(self.folder, '--routers', 3, '--life', life, '--epoch', int(time.time()) - 5))
        with urllib.request.urlopen(f'http://{simulator.address}/targets', timeout=10) as answer:
            paths = [group['labels']['__metrics_path__'] for group in json.load(answer)]
        self.assertEqual(paths, ['/0/cgi-bin/metrics', '/2/cgi-bin/metrics'])
        late = http.client.HTTPConnection(simulator.address, timeout=30)
        given_up = http.client.HTTPConnection(simulator.address, timeout=30)
        before = time.monotonic()
        for connection in (late, given_up):
            connection.request('GET', paths[1])
        given_up.close()
        with urllib.request.urlopen(f'http://{simulator.address}{paths[0]}', timeout=10) as answer:
            self.assertTrue(answer.read().endswith(b'# EOF\n'))
        self.assertTrue(late.getresponse().read().endswith(b'# EOF\n'))
        self.assertGreaterEqual(time.monotonic() - before, 1) # whole seconds of a clock are counted
        late.close()

    def test_one_that_is_gone_closes_the_connection(self):
        life = self.folder / 'gone.life'
        life.write_text('0 600 0 1 gone\n', encoding='utf-8')
        simulator = self.start(Simulator(self.folder, '--routers', 3, '--life', life, '--epoch', int(time.time()) - 5))
        with urllib.request.urlopen(f'http://{simulator.address}/targets', timeout=10) as answer:
            paths = [group['labels']['__metrics_path__'] for group in json.load(answer)]
        self.assertEqual(len(paths), 3)
        with urllib.request.urlopen(f'http://{simulator.address}{paths[0]}', timeout=10) as answer:
            self.assertTrue(answer.read().endswith(b'# EOF\n'))
        with self.assertRaises(http.client.RemoteDisconnected):
            urllib.request.urlopen(f'http://{simulator.address}{paths[1]}', timeout=10)
        with self.assertRaises(urllib.error.HTTPError):
            urllib.request.urlopen(f'http://{simulator.address}/7/cgi-bin/metrics', timeout=10)

    def test_it_serves_paths_of_get_requests_only(self):
        simulator = self.start(Simulator(self.folder, '--routers', 1))
        for request in (b'POST /targets HTTP/1.1', b'GET', b'GET / HTTP/1.1', b'GET /1/cgi-bin/metrics HTTP/1.1'):
            with self.subTest(request), socket.create_connection(place_of(simulator), 10) as connection:
                connection.sendall(request + b'\r\n\r\n')
                self.assertTrue(connection.recv(100).startswith(b'HTTP/1.1 404 Not Found\r\n'))

    def test_a_port_that_is_taken_is_told(self):
        simulator = self.start(Simulator(self.folder, '--routers', 1))
        done = call('--recorded', FLEET / 'recorded', '--port', place_of(simulator)[1])
        self.assertEqual((done.returncode, done.stderr),
                         (1, f'fleet_routers: port {place_of(simulator)[1]}: Address already in use\n'))

    def test_it_ends_with_connections_open(self):
        simulator = Simulator(self.folder, '--routers', 1)
        with socket.create_connection(place_of(simulator), 10) as connection:
            connection.sendall(b'GET /targets HTTP/1.1\r\n\r\n')
            self.assertTrue(connection.recv(100).startswith(b'HTTP/1.1 200 OK\r\n'))
            simulator.end()
        self.assertEqual(simulator.process.returncode, 0)


if __name__ == '__main__':
    unittest.main()
