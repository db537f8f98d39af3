"""Runs the notebooks as a reader would, cell by cell, and looks at what their cells show."""

import base64
import os
import sys
from pathlib import Path

import pytest

nbclient = pytest.importorskip("nbclient")
nbformat = pytest.importorskip("nbformat")
pytest.importorskip("ipykernel")
pytest.importorskip("matplotlib")

NOTEBOOKS = Path(__file__).resolve().parents[2] / "docs" / "notebooks"
# Notebook, pictures, tables of HTML, and texts that its outputs must have.
KEPT = {
    "first_steps": (2, 4, ["True", "square", "s8,7 nearest saturate"]),
    "limit_cycle": (3, 1, ["<b>toward_zero</b>", "-7"]),
    "words_by_sweep": (2, 2, ["5 points", "121 of 121 points"]),
}


def test_all_notebooks_are_run_and_kept_without_outputs():
    files = sorted(NOTEBOOKS.glob("*.ipynb"))
    assert [file.stem for file in files] == sorted(KEPT)
    for file in files:
        notebook = nbformat.read(file, 4)
        nbformat.validate(notebook)
        assert not any(cell.get("outputs") or cell.get("execution_count") for cell in notebook.cells)


@pytest.mark.parametrize("name", KEPT)
def test_a_notebook_runs_and_shows_its_pictures(name, tmp_path, monkeypatch):
    monkeypatch.setenv("PYTHONPATH", os.pathsep.join(path for path in sys.path if path))
    monkeypatch.setenv("IPYTHONDIR", str(tmp_path))
    notebook = nbformat.read(NOTEBOOKS / f"{name}.ipynb", 4)
    client = nbclient.NotebookClient(notebook, timeout=600, resources={"metadata": {"path": str(tmp_path)}})
    client.create_kernel_manager()
    client.km.kernel_spec.argv[0] = sys.executable
    client.execute()
    outputs = [output for cell in notebook.cells for output in cell.get("outputs", [])]
    shown = [output["data"] for output in outputs if "data" in output]
    streams = [output for output in outputs if output["output_type"] == "stream"]
    pictures, tables, texts = KEPT[name]
    drawn = [base64.b64decode(data["image/png"]) for data in shown if "image/png" in data]
    assert len(drawn) == pictures and all(len(picture) > 5000 for picture in drawn)
    pages = [data["text/html"] for data in shown if "text/html" in data]
    assert len([page for page in pages if "<table" in page]) == tables
    assert not [stream["text"] for stream in streams if stream["name"] == "stderr"]
    everything = "".join([*pages, *(stream["text"] for stream in streams)])
    for text in texts:
        assert text in everything
    if folder := os.environ.get("TOLVANE_NOTEBOOKS"):
        nbformat.write(notebook, Path(folder) / f"{name}.ipynb")
