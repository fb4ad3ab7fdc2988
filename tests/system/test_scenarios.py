# Runs every scenario of the tables in scenarios_*.py against the real daemon, or those of
# scenarios_$UPLINKER_SCENARIOS.py alone.

import glob
import importlib
import os

import pytest

import scenario

ROWS = []
TABLES = "scenarios_%s.py" % os.environ.get("UPLINKER_SCENARIOS", "*")
for path in sorted(glob.glob(os.path.join(os.path.dirname(__file__), TABLES))):
    module = importlib.import_module(os.path.basename(path)[:-3])
    ROWS += [pytest.param(s, id=s.name, marks=[pytest.mark.slow] if s.slow else [])
             for s in module.SCENARIOS]


@pytest.mark.parametrize("sc", ROWS)
def test_scenario(world, sc):
    scenario.run(world, sc)
