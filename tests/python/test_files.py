"""Files of the host: what Python writes, a session reads, and the reverse, bit for bit."""

import doctest
import functools
import os
import pickle
import random
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

import tolvane as tv

SESSION_FILES = os.environ.get("SESSION_FILES", "")
if not SESSION_FILES:  # ctest names it wherever the extension is built
    pytest.importorskip("tolvane._host", reason="a build without the reference host")
needs_sessions = pytest.mark.skipif(not SESSION_FILES, reason="SESSION_FILES names no program")

BITS = (1, 2, 8, 9, 16, 17, 31, 32, 33, 40, 52, 53, 63, 64, 65, 96, 97, 128, 129, 1000)


def shown(path):
    """What a session finds in a file, line by line."""
    return subprocess.run([SESSION_FILES, "show", path], check=True, capture_output=True, text=True).stdout.splitlines()


def fixed_line(place, dimensions, type, words, imag=None, tag=""):
    """The line of an array, from Python ints."""
    signed, bits, fraction = type
    length = (bits + 3) // 4

    def digits(part):
        return ",".join(f"{word % 2**bits:0{length}x}" for word in part) or "-"

    size = "x".join(map(str, dimensions))
    parts = f"{digits(words)} {digits(imag) if imag is not None else '-'}"
    mode = "Fixed-point: binary point scaling"
    return f"{place} fi {size} [{mode};{int(signed)};{bits};1;{-fraction};0] {parts} tag={tag}"


def random_words(source, count, signed, bits):
    low, high = (-(2 ** (bits - 1)), 2 ** (bits - 1) - 1) if signed else (0, 2**bits - 1)
    return [source.choice((low, high, source.randint(low, high))) for _ in range(count)]


def arrays_of_all_kinds():
    """Arrays, and the lines that a session has to show for them."""
    source = random.Random(20240511)
    arrays, lines = {}, []
    shapes = {(): "1x1", (3,): "3x1", (2, 3): "3x2", (2, 1, 3): "3x1x2", (0,): "0x1", (4, 0): "0x4"}
    for bits in BITS:
        for signed in (True, False):
            shape = source.choice(list(shapes))
            count = int(np.prod(shape))
            type = (signed, bits, source.randint(-5, bits + 5))
            words = [random_words(source, count, signed, bits) for _ in range(2)]
            is_complex = bits % 2 == 0
            name = f"{'s' if signed else 'u'}{bits}"
            text = f"{name},{type[2]}"
            parts = [tv.from_words(np.array(part, object).reshape(shape), text) for part in words]
            arrays[name] = (tv.complex_of(*parts) if is_complex else parts[0]).named("signal")
            dimensions = shapes[shape].split("x")
            lines.append(fixed_line(name, dimensions, type, words[0], words[1] if is_complex else None, "signal"))
    return arrays, lines


def same(a, b):
    """Equal in kind, type, shape and every bit."""
    if isinstance(a, tv.Array):
        return isinstance(b, tv.Array) and tv.identical(a, b) and a.name == b.name and a.shape == b.shape
    if isinstance(a, tv.ScaledArray):
        return a.type == b.type and same(a.words, b.words)
    if isinstance(a, dict):
        return list(a) == list(b) and all(same(a[name], b[name]) for name in a)
    if isinstance(a, list) or (isinstance(a, np.ndarray) and a.dtype == object):
        shapes = {getattr(one, "shape", None) for one in (a, b)}
        return type(a) is type(b) and len(shapes) == 1 and len(a) == len(b) and all(map(same, a, b))
    if isinstance(a, (np.ndarray, np.generic)):
        return a.dtype == b.dtype and a.shape == b.shape and a.tobytes() == b.tobytes()
    return type(a) is type(b) and a == b


@needs_sessions
def test_a_session_finds_the_words_that_python_saved(tmp_path):
    path = str(tmp_path / "work.h5")
    arrays, lines = arrays_of_all_kinds()
    tv.save(path, arrays)
    assert shown(path) == lines
    # And after a session has saved them again.
    subprocess.run([SESSION_FILES, "copy", path, path + ".copy"], check=True)
    assert same(tv.load(path + ".copy"), arrays)


@needs_sessions
def test_a_session_finds_other_values_as_its_own(tmp_path):
    path = str(tmp_path / "work.h5")
    x = tv.from_words([1, -1], "s16,15", name="x")
    tv.save(
        path,
        {
            "row": np.array([[1.5], [-0.0]]),
            "flags": np.array([True, False]),
            "swapped": np.array([1, 2], ">i2"),
            "complex": np.array([1 + 2j], np.complex64),
            "text": "aä",
            "type": tv.Type("u9,-3"),
            "format": tv.format("s12,9 nearest_away wrap", name="q"),
            "state": {"x": x, "parts": [1, x]},
        },
        rules={"state.x": {"RoundMode": "floor", "SumMode": "SpecifyPrecision", "SumWordLength": 20}},
    )
    own = "RoundMode=floor OverflowMode=saturate ProductMode=FullPrecision ProductWordLength=32 "
    own += "SumMode=SpecifyPrecision SumWordLength=20 SumFixedExponent=-30 CastBeforeSum=1"
    assert shown(path) == [
        "row double 1x2 000000000000f83f0000000000000080",
        "flags logical 2x1 0100",
        "swapped int16 2x1 01000200",
        "complex single 1x1 0000803f 00000040",
        "text char 1x2 6100e400",
        "type type [Fixed-point: binary point scaling;0;9;1;3;0]",
        "format quantizer fixed 12,9 round wrap tag=q",
        "state struct 1x1",
        fixed_line("state.x", (2, 1), (True, 16, 15), (1, -1), tag="x") + " " + own,
        "state.parts cell 2x1",
        "state.parts[0] int64 1x1 0100000000000000",
        fixed_line("state.parts[1]", (2, 1), (True, 16, 15), (1, -1), tag="x"),
    ]


@needs_sessions
def test_what_a_session_saved_comes_through_python_unchanged(tmp_path):
    path, again = str(tmp_path / "work.h5"), str(tmp_path / "again.h5")
    subprocess.run([SESSION_FILES, "save", path], check=True)
    contents = tv.load(path)
    tv.save(again, contents)
    before = shown(path)
    assert shown(again) == before
    # What they are here, by what the session says of the words.
    digits = {line.split()[0]: line for line in before}
    for name, x in contents.items():
        if isinstance(x, tv.Array) and x.name == "words":
            assert x.shape == (2, 3)
            words = [int(word) for word in x.words.flat]
            assert digits[name] == fixed_line(name, (3, 2), (name[0] == "s", x.type.bits, x.type.bits // 2 - 3), words, None, "words")
    assert contents["own"].shape == (2, 1) and contents["complex"].imag.words.tolist() == [[24576], [-32768]]
    assert contents.rules["own"]["SumWordLength"] == 24 and contents.rules["own"]["RoundMode"] == "floor"
    assert set(contents.rules) == {"own", "row[2]", "state.taps"}
    assert contents["quantizer"] == tv.format("s12,9 toward_zero wrap", name="q")
    assert contents["type"] == tv.Type("s16,15") and contents["text"] == "first try ä"
    assert contents["matrix"].tolist() == [[1, 2], [3, 4], [5, 6]]
    assert contents["row"].shape == (4, 1) and contents["row"][1, 0] == "two"
    # Slope and bias: 0.3 is a double, and every value is exactly slope * word + bias.
    scaled = contents["scaled"]
    assert scaled.type.slope == 0.3 and scaled.name == "scale"
    assert scaled.values().astype(object).ravel().tolist() == [
        scaled.type.slope * int(word) - tv.array(1.5, "s8,4").item() for word in scaled.words.words.flat
    ]
    # Objects without a counterpart show their properties and can be copied.
    assert contents["rules"].class_name == "embedded.fimath"
    assert pickle.loads(pickle.dumps(contents["rules"])).properties["SumMode"] == "SpecifyPrecision"
    assert contents["pointer"].properties["BaseType"] == tv.Type("s16,15")
    assert contents["floating"].properties["double"] == 0.1


def test_values_come_back_as_they_were(tmp_path):
    path = str(tmp_path / "work.h5")
    arrays, _ = arrays_of_all_kinds()
    contents = dict(arrays)
    for dtype in ("f8", "f4", "c16", "c8", "i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", "?"):
        contents["d" + dtype] = np.arange(6).reshape(3, 2).astype(dtype)
    contents |= {
        "scalar": np.float64(0.1),
        "nan": np.array([np.nan, -np.inf, -0.0]),
        "none": np.empty((0, 3)),
        "text": "a\ud800\U0001f600",
        "empty": "",
        "letters": np.array([["a", "b"], ["c", "ä"]]),
        "format": tv.format("u9,3 convergent", name="place"),
        "scaled": tv.ScaledArray(tv.from_words([3, -4], "s12"), tv.ScaledType(True, 12, 1.2, -2, -1.5)),
        "scaled_type": tv.ScaledType(False, 70, 1.0, 4, 0.25),
        "tree": {"list": [], "inner": {"x": [arrays["s129"], ["deep", np.int8(1)]]}, "gain": np.float64(1)},
        "objects": np.array([[{"a": np.uint8(1)}, "t"], [[], None]], object),
    }
    contents["objects"][1, 1] = arrays["u1"]
    tv.save(path, contents)
    again = tv.load(path)
    assert same(again, contents)
    # numpy's habit of one more dimension, and a variable of a loop.
    tv.save(path, row=np.ones((1, 3)), acc=tv.Fixed("s9,4", 1.5, name="acc"))
    assert tv.load(path)["row"].shape == (3,) and tv.load(path, ndmin=2)["row"].shape == (1, 3)
    assert same(tv.load(path)["acc"], tv.array(1.5, "s9,4", name="acc"))
    assert str(tv.load(path)["row"][0]) == "1.0" and tv.load(path)["row"].flags.writeable


REFUSED = {
    "another kind": (dict(x=object()), TypeError, "counterpart"),
    "a long integer": (dict(x=2**70), TypeError, "tolvane.array"),
    "halves": (dict(x=np.float16(1)), TypeError, "astype"),
    "dates": (dict(x=np.datetime64("2024-01-01")), TypeError, "astype"),
    "a field without a name": (dict(x={1: 2}), TypeError, "names"),
    "a rounding": (dict(x=tv.format("s8,7 nearest_odd")), tv.Error, "tolvane:file:format"),
    "an overflow": (dict(x=tv.format("s8,7 zero")), tv.Error, "tolvane:file:format"),
    "rules of nothing": (dict(x=1.0, rules={"x": {}}), tv.Error, "tolvane:file:rules"),
    "an unknown rule": (dict(x=tv.array(0, "s8"), rules={"x": {"Roundmode": "floor"}}), tv.Error, "RoundMode"),
    "a rule out of range": (
        dict(x=tv.array(0, "s8"), rules={"x": {"SumSlopeAdjustmentFactor": 7}}),
        tv.Error,
        "TolvaneKit:fimathInvalidSetting",
    ),
    "complex words with a slope": (
        dict(x=tv.ScaledArray(tv.complex_of(*[tv.from_words([1], "s8")] * 2), tv.ScaledType(True, 8, 1.5, 0, 0.0))),
        tv.Error,
        "fixedpoint:fi:nocomplexslopebias",
    ),
    "a name": ({"": 1.0}, tv.Error, "VELMAR:save:badName"),
    "too deep": (dict(x=functools.reduce(lambda inner, _: [inner], range(210), [])), tv.Error, "VELMAR:save:tooDeep"),
}


@pytest.mark.parametrize("case", REFUSED)
def test_a_refused_save_leaves_the_old_file(tmp_path, case):
    variables, kind, part = REFUSED[case]
    path = tmp_path / "work.h5"
    tv.save(path, old=np.arange(3))
    before = path.read_bytes()
    rules = variables.get("rules")
    contents = {name: value for name, value in variables.items() if name != "rules"}
    with pytest.raises(kind) as raised:
        tv.save(path, contents, rules=rules)
    assert part in getattr(raised.value, "id", "") + str(raised.value)
    assert path.read_bytes() == before and os.listdir(tmp_path) == ["work.h5"]


def test_a_full_disk_leaves_the_old_file(tmp_path):
    path = tmp_path / "work.h5"
    tv.save(path, old=np.arange(3))
    before = path.read_bytes()
    program = f"""
import resource, signal, numpy as np, tolvane as tv
signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
resource.setrlimit(resource.RLIMIT_FSIZE, (50000, 50000))
try:
    tv.save({str(path)!r}, x=np.zeros(100000))
except tv.Error as error:
    print(error.id)
tv.save({str(path)!r} + '2', x=np.zeros(10))
print(tv.load({str(path)!r} + '2')['x'].size)
"""
    run = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, check=True)
    assert run.stdout.split() == ["VELMAR:save:notWritten", "10"]
    assert path.read_bytes() == before and sorted(os.listdir(tmp_path)) == ["work.h5", "work.h52"]


def test_files_that_cannot_be_read_raise(tmp_path):
    path = tmp_path / "work.h5"
    with pytest.raises(FileNotFoundError):
        tv.load(path)
    with pytest.raises(FileNotFoundError):
        tv.save(tmp_path / "none" / "work.h5", x=1.0)
    with pytest.raises(TypeError, match="have names"):
        tv.save(path, np.ones(3))
    with pytest.raises(tv.Error) as raised:
        tv.load(tmp_path)
    assert raised.value.id == "VELMAR:load:notRead"
    tv.save(path, x=np.arange(1000.0))
    good = path.read_bytes()
    for changed, id in (
        (good[:-1], "VELMAR:load:damaged"),
        (good[:3000] + bytes([good[3000] ^ 1]) + good[3001:], "VELMAR:load:damaged"),
        (b"else" + good, "VELMAR:load:foreign"),
        (b"", "VELMAR:load:foreign"),
    ):
        path.write_bytes(changed)
        with pytest.raises(tv.Error) as raised:
            tv.load(path)
        assert raised.value.id == id
    name = os.fsdecode(b"caf\xe9.h5")  # a name of a file that is no UTF-8
    tv.save(tmp_path / name, x=1.0)
    assert tv.load(tmp_path / name)["x"] == 1.0


def test_the_host_is_loaded_when_it_is_needed_and_keeps_to_itself(tmp_path):
    program = f"""
import sys, numpy as np, warnings, tolvane as tv
maps = lambda: open('/proc/self/maps').read()
print('_host' in maps(), 'libhdf5' in maps())
x = tv.array(np.arange(5000) / 7, 's70,50', name='x')
path = {str(tmp_path / "work.h5")!r}
tv.save(path, x=x)
again = tv.load(path)['x']
print('libhdf5' in maps(), tv.identical(again, x))
with warnings.catch_warnings(record=True) as caught:
    warnings.simplefilter('always')
    tv.cast(again, 's8,7', name='z')
print(caught[0].message)
try:
    tv.array([1, 2], 's4') + tv.array([1, 2, 3], 's4')
except tv.Error as error:
    print(error.id)
del again, x
print(tv.load(path)['x'][7])
"""
    run = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, check=True)
    assert run.stdout.splitlines() == [
        "False False",
        "True True",
        '4993 of 5000 values overflowed in "z" (s8,7 nearest saturate)',
        "tolvane:array:shape",
        "1.0",
    ]
    assert run.stderr == ""


def test_a_build_without_the_host_says_what_to_do(tmp_path):
    program = "import sys, tolvane as tv; sys.modules['tolvane._host'] = None; tv.load('x.h5')"
    run = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, cwd=tmp_path)
    assert "ImportError: This build of tolvane lacks the reference host" in run.stderr
    assert "libhdf5-dev" in run.stderr and run.stderr.count("Traceback") == 1


def test_the_page_prints_what_it_says():
    page = Path(__file__).resolve().parents[2] / "docs" / "python-files.md"
    failed, tried = doctest.testfile(str(page), module_relative=False)
    assert failed == 0 and tried > 10
