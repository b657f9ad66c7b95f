"""Scans of several hosts: compared by the tool, and asked by the statements of the guide."""

import copy
import json
import re
import subprocess
import sys
import unittest

from quarryctl import ROOT, WORK, make_work_folder, quarryctl


class Farm(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        make_work_folder()
        cls.scan = json.loads(quarryctl('scan', '--ini', 'filters.ini', '--json').stdout)
        cls.names = [application['productName'] or application['fileName'] for application in cls.scan]

    def changed(self):
        """The scan of a host that has one application less, one more, one newer and one elsewhere."""
        scan = [copy.deepcopy(application) for application in self.scan]
        scan[0]['productVersion'] = '99.1'
        scan[0]['path'] = scan[0]['path'].upper()
        scan[0]['fieldOfTomorrow'] = 1
        scan[1]['path'] = 'C:\\moved\\' + scan[1]['fileName']
        scan.append(scan[2] | {'path': 'C:\\new.exe', 'fileName': 'new.exe', 'productName': 'New'})
        del scan[2]
        return scan

    def compare(self, new, *options):
        (WORK / 'old.json').write_text(json.dumps(self.scan), encoding='utf-8')
        (WORK / 'new.json').write_bytes(new)
        return quarryctl('compare', 'old.json', 'new.json', *options)

    def test_compare_tells_what_came_went_and_changed(self):
        self.assertEqual(len(self.scan), 3)
        for encoding in ('utf-8', 'utf-8-sig', 'utf-16'):
            output = self.compare(json.dumps(self.changed(), ensure_ascii=False).encode(encoding))
            self.assertEqual((output.returncode, output.stderr), (1, ''))
            self.assertTrue(output.stdout.endswith('1 came, 1 went, 2 changed, 0 the same\n'), output.stdout)
        lines = [line.split() for line in output.stdout.splitlines()]
        self.assertEqual([line[0] for line in lines], ['NAME', 'came', 'went', 'changed', 'changed', '1'])
        self.assertIn(f"productVersion: {self.scan[0]['productVersion']} -> 99.1", output.stdout)

        result = json.loads(self.compare(json.dumps(self.changed()).encode(), '--json').stdout)
        self.assertEqual([application['productName'] for application in result['came']], ['New'])
        self.assertEqual(result['went'], [self.scan[2]])
        self.assertEqual([[change['field'] for change in entry['changes']] for entry in result['changed']],
                         [['productVersion'], ['path']])
        self.assertEqual(self.compare(json.dumps(self.scan).encode()).returncode, 0)

    def test_compare_refuses_what_is_no_scan(self):
        for new, complaint in ((b'', 'holds no JSON'), (b'[' * 100000, 'holds no JSON'), (b'{}', 'holds no scan'),
                               (b'[{"path": 1}]', 'holds no scan'), (b'\xff\xfe[', 'holds no JSON')):
            output = self.compare(new)
            self.assertEqual((output.returncode, output.stdout), (2, ''))
            self.assertIn(complaint, output.stderr)
        self.assertIn('cannot read', quarryctl('compare', 'old.json', 'gone.json').stderr)

    def test_the_guides_questions_are_answered(self):
        scans = WORK / 'scans'
        scans.mkdir()
        for host, scan in {'alpha': self.scan, 'beta': self.scan, 'gamma': self.changed()}.items():
            (scans / f'{host}.json').write_text(json.dumps(scan), encoding='utf-8')
        load, *questions = re.findall(r'```sql\n(.*?)```', (ROOT / 'docs/farm.md').read_text(encoding='utf-8'), re.S)

        def ask(statement):
            output = subprocess.run(['sqlite3', '-json', WORK / 'farm.db', statement], cwd=WORK, check=True,
                                    stdout=subprocess.PIPE, encoding='utf-8').stdout
            return [tuple(row.values()) for row in json.loads(output or '[]')]

        first, second, gone = self.names
        version = self.scan[0]['productVersion']
        self.assertEqual(ask(load), [])
        self.assertEqual(ask(questions[0].replace('Notepad', gone)), [('gamma',)])
        versions = ask(questions[1])
        self.assertIn((first, version, 2, 'alpha,beta'), versions)
        self.assertIn((first, '99.1', 1, 'gamma'), versions)
        self.assertEqual(ask(questions[2]), [(first, f'{version},99.1')])
        self.assertEqual(ask(questions[3]), [('gamma', 'additional', 'New', self.scan[2]['productVersion']),
                                             ('gamma', 'missing', gone, self.scan[2]['productVersion']),
                                             ('gamma', 'version', first, '99.1')])


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
