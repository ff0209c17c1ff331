"""The catalogue's shape: its totals and the mix of its field types stay near the figures the
catalogue is known to have, so that it cannot quietly become thin or lopsided."""

import os
import unittest

from nexargen import catalog, stats

REPO = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

# The known figures: totals, and fields by native type.
EXACT = {"services": 206, "operations": 530, "task_only": 70, "both_forms": 5, "resource_types": 41}
NEAR = {"structures": 719, "enumerations": 457}
FIELDS_NEAR = {
    "string": 564,
    "optional string": 352,
    "optional structure": 181,
    "structure": 153,
    "optional set of strings": 140,
    "enumeration": 138,
    "optional long": 127,
    "optional bool": 115,
    "bool": 89,
    "long": 79,
    "list of structures": 82,
}
TOLERANCE = 0.15


def load():
    units = []
    for root in ("opax/std", "opax/cis", "idl"):
        found, errors = catalog.load([os.path.join(REPO, root)])
        assert not errors, errors.lines()
        units.extend(found)
    errors = catalog.Catalog(units).check()
    assert not errors, errors.lines()
    return stats.compute(units)


class CatalogueShapeTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.stats = load()

    def test_counts_are_exact(self):
        for key, want in EXACT.items():
            self.assertEqual(self.stats[key], want, key)

    def assertNear(self, what, have, want):
        self.assertLessEqual(abs(have - want), TOLERANCE * want, f"{what}: {have}, expected {want} within 15%")

    def test_totals_are_near_the_known_figures(self):
        for key, want in NEAR.items():
            self.assertNear(key, self.stats[key], want)

    def test_field_types_are_near_the_known_mix(self):
        for key, want in FIELDS_NEAR.items():
            self.assertNear(f"{key} fields", self.stats["fields"].get(key, 0), want)


if __name__ == "__main__":
    unittest.main()
