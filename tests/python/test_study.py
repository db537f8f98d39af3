"""The filter study as a program: what it reads, finds, writes and refuses."""

import base64
import csv
import re
import subprocess
import sys
import wave

import numpy as np
import pytest

from tolvane import _study

pytest.importorskip("matplotlib")


def write_wav(path, width, frames, rate=8000, channels=None):
    with wave.open(str(path), "wb") as file:
        file.setparams((channels or len(frames[0]), width, rate, 0, "NONE", ""))
        for frame in frames:
            for sample in frame:
                file.writeframesraw((sample + 128 * (width == 1)).to_bytes(width, "little", signed=width > 1))
    return str(path)


@pytest.mark.parametrize("width", [1, 2, 3, 4])
def test_samples_are_read_exactly(width, tmp_path):
    most = 2 ** (8 * width - 1)
    path = write_wav(tmp_path / "a.wav", width, [(0, 1), (-1, most - 1), (-most, most // 3)])
    for channel, words in ((1, [0, -1, -most]), (2, [1, most - 1, most // 3])):
        made = _study.read_wav(path, channel)
        assert made.rate == 8000 and made.samples.tolist() == [word / most for word in words]


@pytest.mark.parametrize(
    "order, cutoff, sections",
    [
        (1, 0.25, [[0.5, 0.5, 0, 1, 0, 0]]),
        (2, 0.25, [[0.29289322, 0.58578644, 0.29289322, 1, 0, 0.17157288]]),
        (2, 0.1, [[0.06745527, 0.13491055, 0.06745527, 1, -1.1429805, 0.4128016]]),
    ],
)
def test_sections_are_those_of_the_books(order, cutoff, sections):
    assert np.allclose(_study.butterworth(order, cutoff), sections, atol=1e-7)
    for more in range(1, 9):
        made = _study.butterworth(more, cutoff)
        assert np.allclose(_study.response(made, [1e-9, cutoff]), [0, -3.0103], atol=1e-4)
        poles = [abs(np.roots(row[3:])).max() for row in made]
        assert poles == sorted(poles) and poles[-1] < 1
        # Maximally flat: 6 dB an octave and order on the warped axis.
        far = np.arctan(np.tan(np.pi * cutoff) * np.array([64.0, 128.0])) / np.pi
        assert np.allclose(-np.diff(_study.response(made, far)), min(6.0206 * more, 240), atol=0.05) or more > 5


def filtered(sections, samples):
    for b0, b1, b2, _, a1, a2 in sections:
        x1 = x2 = y1 = y2 = 0.0
        made = []
        for x in samples:
            y = b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2
            x1, x2, y1, y2 = x, x1, y, y1
            made.append(y)
        samples = made
    return np.array(samples)


def test_the_choice_is_the_cheapest_and_nothing_overflows():
    recording = _study.made_signal()
    short = _study.Recording("short", recording.rate, recording.samples[:3000])
    study = _study.studied(short, order=3, coefficients=[6, 9, 12], data=[6, 10, 14], target=30, executor="serial")
    assert np.allclose(study.exact, filtered(study.sections, short.samples), rtol=0, atol=1e-12)
    met = [(row["coefficients"] * row["data"], -row["snr"]) for row in study.table if row["snr"] >= 30]
    assert study.is_met and len(met) == 4 and (study.coefficients * study.data, -study.snr) == min(met)
    made = study.words.filtered(short.samples, study.sections).astype(float)
    assert study.snr == pytest.approx(-10 * np.log10(np.sum((made - study.exact) ** 2) / np.sum(study.exact**2)), abs=1e-9)
    places = {place.name: place for place in study.last.places()}
    assert len(places) == 11 and not any(place.overflows for place in places.values())
    # Words of a node are no longer than its greatest place needs, and before the choice some were too short.
    for node, format in study.words.nodes.items():
        spare = [place.bits_to_spare for name, place in places.items() if name.endswith(f" {node}")]
        assert 0 <= min(spare) <= 1 and format.type.bits == places[f"section 1 {node}"].format.type.bits
    assert min(place.bits_to_spare for place in study.first.places()) < 0
    wider = _study.studied(short, order=3, coefficients=[9], data=[10], target=99, margin=2, executor="serial")
    assert not wider.is_met and {wider.whole[name] - bits for name, bits in study.whole.items()} == {2}


def program(*arguments):
    command = [sys.executable, "-m", "tolvane.study", *map(str, arguments)]
    return subprocess.run(command, capture_output=True, text=True, check=False)


def test_the_program_writes_a_page_that_needs_no_network(tmp_path):
    samples = np.round(20000 * np.sin(np.arange(2000) * 0.05)).astype(int)
    wav = write_wav(tmp_path / "<b>.wav", 2, [(int(one),) for one in samples])
    done = program(wav, "--words", "8,12", "--coefficients", "10-12", "--order", 2, "--processes", 2, "--out", tmp_path / "o")
    assert done.returncode == 0 and done.stderr == "" and "2000 samples at 8000 Hz" in done.stdout
    names = ["ratios.csv", "ranges.png", "response.png", "snr.png", "study.html"]
    assert sorted(file.name for file in (tmp_path / "o").iterdir()) == sorted(names)
    page = (tmp_path / "o" / "study.html").read_text()
    bare = re.sub(r"base64,[^\"]*", "", page)
    assert not re.findall(r"https?:|//|<script|<link|@import|url\(", bare) and "&lt;b&gt;.wav" in page
    sources = re.findall(r'(?:src|srcset)="([^"]*)"', page)
    pictures = [base64.b64decode(one.removeprefix("data:image/png;base64,"), validate=True) for one in sources]
    assert len(pictures) == 6 and len(set(pictures)) == 6
    assert all(one.startswith(b"\x89PNG") and len(one) > 10000 for one in pictures)
    light = {(tmp_path / "o" / name).read_bytes() for name in names if name.endswith(".png")}
    assert light == set(pictures[1::2])
    with open(tmp_path / "o" / "ratios.csv", encoding="utf-8") as file:
        rows = list(csv.DictReader(file))
    assert [(row["coefficients"], row["data"]) for row in rows] == [(c, d) for c in ("10", "11", "12") for d in ("8", "12")]
    for row in rows:
        assert f'{float(row["snr"]):.1f}<' in page


def test_words_that_are_far_too_short_are_shown_as_well(tmp_path, capsys):
    assert _study.main(["--order", "1", "--words", "2", "--cutoff", "5", "--processes", "0", "--out", str(tmp_path)]) == 0
    assert "No words of the sweep meet 60 dB; the best have 2 bits" in capsys.readouterr().out
    assert (tmp_path / "study.html").stat().st_size > 50000


@pytest.mark.parametrize(
    "code, text, arguments",
    [
        (0, "--coefficients", ["--help"]),
        (2, "word lengths", ["--words", "1-9"]),
        (2, "no list of word lengths", ["--words", "8..9"]),
        (2, "argument --order: it is 1 to 16", ["--order", "0"]),
        (2, "half the sample rate, 24000 Hz", ["--cutoff", "24000"]),
        (2, "there is no channel 2", ["stereo.wav", "--channel", "2"]),
        (3, "can't be read as a WAV file", ["missing.wav"]),
        (3, "can't be read as a WAV file", ["bad.wav"]),
        (3, "has no samples", ["empty.wav"]),
        (3, "is silent", ["silent.wav", "--processes", "0"]),
        (6, "can't be made", ["--out", "bad.wav"]),
    ],
)
def test_what_it_refuses_has_a_code_and_a_reason(code, text, arguments, tmp_path, monkeypatch, capsys):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "bad.wav").write_bytes(b"RIFF")
    write_wav(tmp_path / "empty.wav", 2, [], channels=1)
    write_wav(tmp_path / "silent.wav", 2, [(0,)] * 50)
    write_wav(tmp_path / "stereo.wav", 2, [(0,)] * 5)
    try:
        returned = _study.main(arguments)
    except SystemExit as ended:
        returned = ended.code
    printed = capsys.readouterr()
    assert returned == code and text in printed.out + printed.err
    assert not (tmp_path / "tolvane_study" / "study.html").exists()
