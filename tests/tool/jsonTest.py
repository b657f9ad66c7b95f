"""The real output of every command that writes JSON, held against the schemas in docs/json."""

import json
import subprocess
import sys
import unittest

from quarryctl import ROOT, WORK, make_work_folder, quarryctl

SCHEMAS = ROOT / 'docs/json'
PROGRAM = r'C:\windows\regedit.exe'


class Json(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        make_work_folder()
        (WORK / 'old.json').write_text(quarryctl('scan', '--json', '--ini', 'filters.ini').stdout, encoding='utf-8')
        (WORK / 'new.json').write_text(json.dumps(json.loads((WORK / 'old.json').read_text(encoding='utf-8'))[1:]),
                                       encoding='utf-8')
        cls.icon = json.loads(quarryctl('app', PROGRAM, '--icons', '--json').stdout)['icons'][0]['name']

    def complaint(self, schema, text):
        """What the validator has against a text; empty when it is sound."""
        (WORK / 'output.json').write_text(text, encoding='utf-8')
        return subprocess.run(['/usr/bin/jsonschema', '-i', WORK / 'output.json', SCHEMAS / f'{schema}.schema.json'],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding='utf-8').stdout

    def test_every_command_writes_what_its_schema_says(self):
        commands = {
            'scan': ('scan', '--ini', 'filters.ini'), 'app': ('app', PROGRAM, '--icons', '--extensions'),
            'icon': ('icon', self.icon), 'extensions': ('extensions', r'C:\windows\notepad.exe'), 'windows': ('windows',),
            'windowsExplain': ('windows', '--explain'), 'explain': ('explain', '--ini', 'filters.ini'),
            'settings': ('settings',), 'filters': ('filters',), 'doctor': ('doctor',),
            'compare': ('compare', 'old.json', 'new.json'),
        }
        self.assertEqual(commands.keys(), {path.name.split('.')[0] for path in SCHEMAS.iterdir()})
        for schema, command in commands.items():
            with self.subTest(schema):
                text = quarryctl(*command, '--json').stdout
                self.assertEqual(self.complaint(schema, text), '')
                # A field that is missing would be seen.
                output = json.loads(text)
                first = output[0] if isinstance(output, list) and output else output
                if first:
                    del first[next(iter(first))]
                    self.assertIn('is a required property', self.complaint(schema, json.dumps(output)))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
