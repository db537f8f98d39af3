"""What help() says, and names that numpy has given up."""

import ast
import doctest
import inspect
from pathlib import Path

import numpy as np
import pytest

import tolvane as tv

FOLDER = Path(tv.__file__).parent
NAMES = [name for name in tv.__all__ if name != "__version__"]


def own_members(thing):
    return {
        name: member
        for name, member in vars(thing).items()
        if not name.startswith("_") and (callable(member) or isinstance(member, property))
    }


@pytest.mark.parametrize("name", NAMES)
def test_every_name_is_explained_and_its_example_runs(name):
    thing = getattr(tv, name)
    text = thing.__doc__
    # What Python makes up for a class of data isn't help.
    assert text and len(text.split()) >= 4 and not text.startswith(f"{name}(")
    tests = doctest.DocTestFinder(recurse=False).find(thing, name, module=False, globs={"tv": tv, name: thing})
    results = [doctest.DocTestRunner(optionflags=doctest.ELLIPSIS).run(test) for test in tests]
    assert all(one.failed == 0 for one in results)
    if inspect.isclass(thing):
        # What numpy has too is known, and parts of a format have names that say it.
        parts = {"bits", "format", "iscomplex", "name", "overflow", "rounding", "text", "type"}
        bare = {key for key, member in own_members(thing).items() if not inspect.getdoc(member)}
        assert {key for key in bare - parts if not hasattr(np.ndarray, key)} == set()


def test_most_functions_have_an_example():
    functions = [name for name in NAMES if inspect.isfunction(getattr(tv, name))]
    assert sum(">>>" in getattr(tv, name).__doc__ for name in functions) > len(functions) / 2


# What numpy 2 no longer has.
GONE = """add_docstring alltrue asfarray byte_bounds cast cfloat clongfloat compat complex_ cumproduct deprecate disp
    DataSource float_ find_common_type geterrobj in1d Inf Infinity infty issctype issubclass_ issubsctype longcomplex
    longfloat lookfor maximum_sctype mat msort NaN nbytes NINF NZERO obj2sctype PINF product PZERO recfromcsv recfromtxt
    round_ row_stack safe_eval sctype2char sctypeDict sctypes seterrobj set_numeric_ops set_string_function singlecomplex
    sometrue string_ trapz tracemalloc_domain unicode_ who""".split()


def test_numpy_2_has_what_the_package_uses():
    used = set()
    for source in FOLDER.rglob("*.py"):
        for node in ast.walk(ast.parse(source.read_text())):
            if isinstance(node, ast.Attribute) and isinstance(node.value, ast.Name) and node.value.id == "np":
                used.add(node.attr)
    assert len(used) > 50 and not used & set(GONE)
    for thing in (tv.Array, tv.FloatArray):
        assert list(inspect.signature(thing.__array__).parameters) == ["self", "dtype", "copy"]
