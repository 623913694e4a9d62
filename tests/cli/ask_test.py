"""Questions, and the consent to telemetry, from the command line."""

import json
import os
import unittest

from support import NOTHING, USAGE, Home


class Ask(Home):
    def test_answers_from_the_log_and_refuses_in_words(self):
        self.tolvik("start", "Reading")
        out, _ = self.tolvik("ask", "how", "much", "time", "on", "reading", "today?")
        self.assertRegex(out, r"^Today, \w+ \d+ \w+ 20\d\d, you tracked \d+ s on “Reading”\.\n$")
        answer = self.json("ask", "what am I working on")
        self.assertEqual(answer["citations"][0]["taskTitle"], "Reading")
        self.assertEqual(sum(c["timeMs"] for c in answer["citations"]), answer["totalMs"])
        self.assertFalse(answer["refused"])
        out, why = self.tolvik("ask", "how is the weather", expect=NOTHING)
        self.assertEqual(out, "")
        self.assertIn("I do not understand that for sure", why)
        self.assertTrue(self.json("ask", "how much time on Nothing", expect=NOTHING)["refused"])
        self.tolvik("ask", expect=USAGE)


class Telemetry(Home):
    def test_is_off_until_yes_and_no_deletes(self):
        self.assertEqual(self.json("telemetry", "show"), {"consent": "not asked", "product": "", "voice": ""})
        self.assertIn("nothing is sent", self.tolvik("telemetry", "show")[0])
        self.tolvik("telemetry", "on")
        event = {"id": "E1", "ts": "2026-01-31T09:05:00Z", "platform": "macos", "event": "opened", "propsJSON": "",
                 "anonId": "A", "sessionId": "S"}
        file = os.path.join(self.data, "product-analytics-buffer.json")
        with open(file, "w", encoding="utf-8") as out:
            json.dump([event], out)
        shown = self.json("telemetry", "show")
        self.assertEqual(json.loads(shown["product"]), {"events": [event]})
        self.assertIn(shown["product"], self.tolvik("telemetry", "show")[0])
        self.assertEqual(self.json("telemetry", "off"), {"consent": "off"})
        self.assertFalse(os.path.exists(file))
        self.assertEqual(self.json("telemetry", "show")["consent"], "off")
        self.tolvik("telemetry", "maybe", expect=USAGE)
        self.tolvik("telemetry", expect=USAGE)


if __name__ == "__main__":
    unittest.main()
