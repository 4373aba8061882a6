import base64
import copy
import datetime
import hashlib
import html.parser
import json
import re
import unittest

from samples import document, drive
from nimbrel_report import document as documents
from nimbrel_report import page, view

NOW = datetime.datetime(2026, 11, 22, 12, 0, tzinfo=datetime.timezone.utc)
HOSTILE = '</script><img src=x onerror=alert(1)>"\'&<!--{{7*7}}\u2028'


class Elements(html.parser.HTMLParser):
    """The elements of a page: (tag, attributes, text)."""

    def __init__(self, text):
        super().__init__()
        self.found = []
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        self.found.append([tag, dict(attributes), ""])

    def handle_data(self, data):
        if self.found:
            self.found[-1][2] += data

    def named(self, tag):
        return [row for row in self.found if row[0] == tag]


def make(*each, previous=None, problems=(), title="Drive report"):
    return page.make(list(each), previous, list(problems), title, NOW).decode()


def variants(value):
    """The value with one part of it replaced by nothing, an empty list or 0, in turn."""
    children = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ()
    for key, child in children:
        for other in [None, [], 0, *variants(child)]:
            changed = copy.copy(value)
            changed[key] = other
            yield changed


def hostile(words=HOSTILE):
    """A document all of whose texts are these."""
    def turn(value, key=""):
        if isinstance(value, dict):
            return {name: turn(item, name) for name, item in value.items()}
        if isinstance(value, list):
            return [turn(item) for item in value]
        return value if not isinstance(value, str) or key in ("time", "kind") else words
    host = {"name": words, "id": None}
    unread = [{"section": words, "reason": words}]
    made = turn(drive(errors={"total": 1, "newest": [{"number": 1, "status": "a b", "queue": 1, "lba": 1, "nsid": 1}]},
                      attributes=[{"id": "1", "name": "n", "value": 1, "worst": 1, "threshold": 1, "raw": "r",
                                   "state": "s"}]))
    return {**document({**made, "not_read": unread, "not_supported": [words], "background": {words: words}}),
            "host": host, "problems": [words], "tool_version": words}


class Page(unittest.TestCase):
    def test_no_text_becomes_markup(self):
        value = documents.check(hostile())
        text = make(value, previous=[hostile()], problems=[HOSTILE], title=HOSTILE)
        plain = make(hostile("x"), previous=[hostile("x")], problems=["x"], title="x")
        elements = Elements(text)
        self.assertEqual(elements.named("img"), [])
        self.assertEqual([tag for tag, _, _ in elements.found], [tag for tag, _, _ in Elements(plain).found])
        attributes = {name for _, row, _ in elements.found for name in row}
        self.assertEqual([name for name in attributes if name.startswith("on") or name == "style"], [])
        self.assertNotIn("49", "".join(row[2] for row in elements.named("title")), "a template in a text was run")
        self.assertIn("&lt;/script&gt;&lt;img src=x onerror=alert(1)&gt;", text)

    def test_each_document_that_the_schema_takes_can_be_shown(self):
        bucket = {"kind": "active", "from_microseconds": 1, "to_microseconds": 2, "read_commands": 1, "write_commands": 1,
                  "deallocate_commands": 1}
        whole = drive(
            attributes=[{"id": "1", "name": "n", "value": 1, "worst": 1, "threshold": 1, "raw": "r", "state": "s"}],
            errors={"total": 1, "newest": [{"number": 1, "status": "a", "queue": 1, "lba": 1, "nsid": 1}]},
            latency={"enabled": True, "buckets": [bucket]}, history={"times": [1, 2], "percentage_used": [1, 2]},
            not_read=[{"section": "events", "reason": "r"}])
        shown = 0
        for each in variants(whole):
            value = document(each)
            try:
                documents.check(value)
            except documents.Damaged:
                continue
            view.report([value], [documents.compared(value)], [], "title", NOW)
            shown += 1
        self.assertGreater(shown, 60, "variants that are shown")

    def test_json_cannot_end_its_element(self):
        blocks = [row for row in Elements(make(hostile())).named("script") if row[1].get("type") == "application/json"]
        self.assertGreater(len(blocks), 3)
        for _, _, text in blocks:
            for character in "<>&\u2028\u2029":
                self.assertNotIn(character, text)
            json.loads(text)
        self.assertEqual(json.loads(blocks[-1][2])[0]["drives"][0]["serial_number"], HOSTILE)

    def test_the_policy_allows_the_two_scripts_and_the_style_by_hash(self):
        text = make(document(drive()))
        elements = Elements(text)
        policy = next(row[1]["content"] for row in elements.named("meta") if "http-equiv" in row[1])
        run = re.findall(r"<script>(.*?)</script>", text, re.DOTALL)
        styles = re.findall(r"<style>(.*?)</style>", text, re.DOTALL)
        self.assertEqual((len(run), len(styles)), (2, 1))
        hashes = ["'sha256-" + base64.b64encode(hashlib.sha256(each.encode()).digest()).decode() + "'"
                  for each in run + styles]
        self.assertEqual(policy, f"default-src 'none'; script-src {hashes[0]} {hashes[1]}; style-src {hashes[2]}; "
                         "img-src data:; base-uri 'none'; form-action 'none'")

    def test_nothing_is_fetched(self):
        elements = Elements(make(document(drive())))
        for tag, attributes, _ in elements.found:
            self.assertNotIn("src", attributes, tag)
            self.assertTrue(attributes.get("href", "#").startswith("#"), attributes)

    def test_what_needs_action_is_first(self):
        text = make(document(drive("GOOD"), drive("WORN", health={"percentage_used": 100}),
                             drive("DEAD", health={"critical_warnings": ["read only"]})))
        order = [text.index(f'class="serial">{serial}<') for serial in ("DEAD", "WORN", "GOOD")]
        self.assertEqual(order, sorted(order))
        actions = text[text.index('id="action-title"'):text.index('id="fleet"')]
        self.assertIn('<a href="#d1">DEAD</a>', actions)
        self.assertIn('<a href="#d2">WORN</a>', actions)
        self.assertNotIn("GOOD", actions)

    def test_what_could_not_be_read_is_said(self):
        text = make(document(drive(not_read=[{"section": "events", "reason": "It <timed> out."}]),
                             problems=["Drive Scan Incomplete: no sysfs"]), problems=["b.json: it is not JSON"])
        unread = text[text.index('id="unread-title"'):]
        self.assertIn("persistent event log: It &lt;timed&gt; out.", unread)
        self.assertIn("Host host-a: Drive Scan Incomplete: no sysfs", unread)
        self.assertIn("b.json: it is not JSON", unread)

    def test_changes(self):
        self.assertIn("There is no earlier report to compare with.", make(document(drive())))
        self.assertIn("<p>Nothing, compared with what was collected until 2026-11-22 10:00:00 UTC.</p>",
                      make(document(drive()), previous=[document(drive())]))
        text = make(document(drive()), previous=[document(drive(identity={"firmware_revision": "OLD"}))])
        self.assertIn("<li>Its firmware was OLD and is FW1.</li>", text)

    def test_a_report_is_read_back_for_the_next_one(self):
        value = document(drive(health={"media_errors": 3}))
        self.assertEqual(documents.from_report(make(value)), [documents.compared(value)])

    def test_hosts_of_one_name_have_their_ids_beside(self):
        text = make(document(drive("S1"), host_id="1" * 32), document(drive("S2"), host_id=None))
        self.assertIn("host-a (1111111111111)", text)
        self.assertIn("host-a (no machine ID)", text)

    def test_no_drives(self):
        self.assertIn("0 drives of 1 host,", make(document()))

    def test_the_chart_library_has_its_licence_and_no_reference_to_a_file(self):
        library = page.chart_library()
        self.assertIn("Released under the MIT License", library)
        self.assertNotIn("sourceMappingURL", library)
        self.assertNotIn("</script", library.lower())


if __name__ == "__main__":
    unittest.main()
