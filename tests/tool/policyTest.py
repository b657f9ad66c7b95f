"""The Group Policy templates: whole in themselves, in step with the code and its guide, and read by the library as they say.

What a policy writes into the registry is taken from the templates alone (Microsoft Learn, "Group Policy ADMX Syntax
Reference Guide") and handed to the registry editor.
"""

import re
import sys
import unittest
import xml.etree.ElementTree as ElementTree

from adminTest import AdminTest, dword, import_reg, key, quarryctl_json, setUpModule, text
from quarryctl import ROOT

NAMESPACE = {'': 'http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions'}
TEMPLATE = ElementTree.parse(ROOT / 'policy/Quarry.admx')
TEXTS = ElementTree.parse(ROOT / 'policy/en-US/Quarry.adml')
POLICIES = {policy.get('name'): policy for policy in TEMPLATE.iterfind('.//policy', NAMESPACE)}
# What an administrator enters, and what quarryctl has to show of it.
ENTERED = {'IconCacheDir': r'D:\Icons\Füße', 'MaxScanDepth': 7, 'WritableFolders': 'skip', 'RemoteFileOpenTimeoutMs': 30000,
           'Root': r'%SystemRoot%\system32', 'Name': 'System "x"', 'Includes': '*.exe;*.lnk', 'Excludes': 'a*'}


def registry_value(name, value):
    """A value element of a template: <string> or <decimal>."""
    child = value[0]
    return dword(name, int(child.get('value'))) if child.tag.endswith('decimal') else text(name, child.text)


def element_value(element):
    name = element.get('valueName')
    entered = ENTERED[name]
    kind = element.tag.split('}')[1]
    if kind == 'text':
        assert len(entered) <= int(element.get('maxLength'))
        return text(name, entered)
    if kind == 'decimal':
        assert int(element.get('minValue')) <= entered <= int(element.get('maxValue'))
        return text(name, str(entered)) if element.get('storeAsText') == 'true' else dword(name, entered)
    values = [item.find('value', NAMESPACE) for item in element.iterfind('item', NAMESPACE)]
    return registry_value(name, next(value for value in values if value[0].text == entered))


def lines_of(policy, state):
    """What the policy writes when it is 'enabled' or 'disabled'."""
    lines = [key(policy.get('key'))]
    value = policy.find(f'{state}Value', NAMESPACE)
    if value is not None:
        lines.append(registry_value(policy.get('valueName'), value))
    if state == 'enabled':
        lines += [element_value(element) for element in policy.iterfind('elements/*', NAMESPACE)]
    return lines


def names_in(document, kinds):
    """The values that a table of a document describes, whose second column is one of `kinds`."""
    return set(re.findall(rf'^\| `(\w+)` \| (?:{kinds}) \|', (ROOT / 'docs' / document).read_text(encoding='utf-8'), re.M))


class Policy(AdminTest):
    def written(self, state):
        import_reg(*(line for policy in POLICIES.values() for line in lines_of(policy, state)))

    def test_every_text_and_box_is_there_and_used(self):
        source = (ROOT / 'policy/Quarry.admx').read_text(encoding='utf-8')
        for kind, elements in (('string', TEXTS.iterfind('.//string', NAMESPACE)),
                               ('presentation', TEXTS.iterfind('.//presentation', NAMESPACE))):
            self.assertEqual(set(re.findall(rf'\$\({kind}\.(\w+)\)', source)), {element.get('id') for element in elements})
        boxes = {presentation.get('id'): [box.get('refId') for box in presentation]
                 for presentation in TEXTS.iterfind('.//presentation', NAMESPACE)}
        for name, policy in POLICIES.items():
            ids = [element.get('id') for element in policy.iterfind('elements/*', NAMESPACE)]
            presentation = policy.get('presentation')
            self.assertEqual(ids, boxes[presentation[len('$(presentation.'):-1]] if presentation else [], name)

    def test_template_documents_and_code_name_the_same(self):
        settings = set(POLICIES) - {f'Filter{number}' for number in range(1, 10)}
        in_code = {entry['name'] for entry in quarryctl_json('settings')}
        self.assertEqual(names_in('settings.md', 'text|switch|number|word|`REG_DWORD`'), in_code)
        self.assertEqual(settings, in_code - {'fDisableCdm'})  # Windows has a template of its own for that
        self.assertEqual(len(POLICIES), len(settings) + 9)
        for number in range(1, 10):
            policy = POLICIES[f'Filter{number}']
            names = {element.get('valueName') for element in policy.iterfind('elements/*', NAMESPACE)}
            self.assertEqual(names | {policy.get('valueName')}, names_in('filterDefinitions.md', '`REG_SZ`|`REG_DWORD`'))

    def test_what_policies_write_is_what_counts(self):
        self.written('enabled')
        settings = {entry['name']: entry for entry in quarryctl_json('settings')}
        for name in set(settings) - {'fDisableCdm'}:
            entry = settings[name]
            self.assertEqual((entry['value'], entry['from'], entry['problems']), (ENTERED.get(name, True), 'policy', []), name)
        filters = quarryctl_json('filters')
        self.assertEqual([entry['place'] for entry in filters], [f'Filter{number}' for number in range(1, 10)])
        for entry in filters:
            self.assertEqual((entry['used'], entry['name'], entry['roots'][0]['root'], entry['includes'], entry['excludes'],
                              entry['problems']),
                             (True, ENTERED['Name'], ENTERED['Root'], ENTERED['Includes'].split(';'), [ENTERED['Excludes']], []))

    def test_what_disabled_policies_write_is_what_counts(self):
        self.written('disabled')
        switches = {entry['name']: entry['value'] for entry in quarryctl_json('settings') if entry['from'] == 'policy'}
        self.assertEqual(switches, {'ScanHidden': False, 'ScanReparsePoints': False, 'VerboseWindowLogging': False})
        used = [(entry['name'], entry['roots']) for entry in quarryctl_json('filters') if entry['used']]
        self.assertEqual(used, [('', [])])  # nothing is published, as the explanation says


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
