"""The package as its readers see it: help, stubs, and what pip installs."""

import ast
import os
import pydoc
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

import remora
from remora import _remora, engine

ROOT = Path(__file__).resolve().parents[2]


def public(names):
    return {name for name in names if not name.startswith("_")}


def declared(body):
    """What a stub declares, with the members of its classes."""
    names = {}
    for node in body:
        if isinstance(node, ast.FunctionDef):
            names[node.name] = None
        elif isinstance(node, ast.ClassDef):
            names[node.name] = set(declared(node.body))
        elif isinstance(node, ast.AnnAssign):
            names[node.target.id] = None
    return names


@pytest.mark.parametrize("stub, module", [("_remora.pyi", _remora), ("engine.pyi", engine)])
def test_stubs_declare_what_is_there(stub, module):
    names = declared(ast.parse((Path(remora.__file__).parent / stub).read_text()).body)
    here = public(vars(module)) - {"engine"}
    assert public(names) == here
    for name in here:
        members = public(vars(getattr(module, name))) if names[name] is not None else set()
        if issubclass(type(getattr(module, name)), type) and not issubclass(
            getattr(module, name), Exception
        ):
            assert public(names[name]) == members, name


def test_everything_is_documented():
    for module in (remora, engine):
        for name in module.__all__:
            it = getattr(module, name)
            assert it.__doc__ and it.__module__.startswith("remora"), name
            assert "_remora." not in pydoc.render_doc(it), name


@pytest.mark.skipif(not os.environ.get("REMORA_BUILD"), reason="no build to install from")
def test_pip_installs_it_without_a_network(tmp_path):
    pip = [sys.executable, "-m", "pip", "install", "--no-build-isolation", "--no-index", "--no-deps"]
    source = tmp_path / "source"
    shutil.copytree(ROOT / "python" / "remora", source / "python" / "remora")
    for name in ("pyproject.toml", "setup.py", "CMakeLists.txt", "LICENSE"):
        shutil.copy(ROOT / name, source)
    subprocess.run([*pip, "-q", "--target", tmp_path / "there", source], check=True)
    (package,) = tmp_path.glob("there/remora")
    assert (package / "py.typed").exists() and (package / "_remora.pyi").exists()
    probe = "import remora; print(remora.__file__, remora.__version__, remora.Tracker.__name__)"
    printed = subprocess.run(
        [sys.executable, "-c", probe], cwd=tmp_path, check=True, stdout=subprocess.PIPE, text=True,
        env={**os.environ, "PYTHONPATH": str(tmp_path / "there")},
    ).stdout
    assert printed.split() == [str(package / "__init__.py"), remora.__version__, "Tracker"]
    linked = subprocess.run(["ldd", *package.glob("_remora*.so")], check=True,
                            stdout=subprocess.PIPE, text=True).stdout
    assert linked.count(f"=> {package}/libremora") == 2, linked
