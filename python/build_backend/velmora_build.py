"""A PEP 517 build backend that builds the module velmora_rdd18 with CMake and packs it in a
wheel: `pip install .` from a source checkout. The module is built for the interpreter that runs
this backend, in a build folder of its own (Release; no tests, benchmarks or fuzzers), and the
wheel holds the module alone. Settings: CMAKE_ARGS in the environment, passed to the configure
step; CMAKE_BUILD_PARALLEL_LEVEL as CMake reads it."""
import base64
import hashlib
import os
import re
import shlex
import shutil
import subprocess
import sys
import sysconfig
import tempfile
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
NAME = "velmora_rdd18"


def _version():
    cmake = (ROOT / "CMakeLists.txt").read_text()
    return re.search(r"project\(VelmoraRDD18 VERSION ([0-9.]+)", cmake).group(1)


def _tag():
    """The wheel tag of this interpreter: cpXY-cpXY-<platform>."""
    python = f"{sys.implementation.name[:2]}{sys.version_info.major}{sys.version_info.minor}"
    platform = sysconfig.get_platform().replace("-", "_").replace(".", "_")
    return f"{python}-{python}-{platform}"


def _metadata():
    return (f"Metadata-Version: 2.1\nName: {NAME}\nVersion: {_version()}\n"
            "Summary: Per-frame ancillary metadata of digital cinema cameras as plain "
            "dictionaries\nLicense: Apache-2.0\nRequires-Python: >=3.8\n")


def _build_module(folder):
    """Configures and builds the module in `folder`; returns the path of the built module."""
    generator = ["-G", "Ninja"] if shutil.which("ninja") else []
    subprocess.run(["cmake", "-S", str(ROOT), "-B", str(folder), *generator,
                    "-DCMAKE_BUILD_TYPE=Release", f"-DPython3_EXECUTABLE={sys.executable}",
                    "-DVELMORA_BUILD_TESTS=OFF", "-DVELMORA_BUILD_BENCHMARKS=OFF",
                    "-DVELMORA_BUILD_FUZZERS=OFF", "-DVELMORA_BUILD_PYTHON=ON",
                    *shlex.split(os.environ.get("CMAKE_ARGS", ""))], check=True)
    subprocess.run(["cmake", "--build", str(folder), "--target", NAME], check=True)
    built = sorted((Path(folder) / "python").glob(NAME + ".*" + sysconfig.get_config_var("SHLIB_SUFFIX")))
    if not built:
        raise RuntimeError("the module was not built: CMake found no Python headers or pybind11 "
                           "(install python3-dev and pybind11-dev)")
    return built[0]


def _record_line(name, data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(data)}\n"


def get_requires_for_build_wheel(config_settings=None):
    return []


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None):
    info = Path(metadata_directory) / f"{NAME}-{_version()}.dist-info"
    info.mkdir(parents=True, exist_ok=True)
    (info / "METADATA").write_text(_metadata())
    return info.name


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    info = f"{NAME}-{_version()}.dist-info"
    wheel = f"{NAME}-{_version()}-{_tag()}.whl"
    with tempfile.TemporaryDirectory(prefix="velmora-wheel-") as folder:
        module = _build_module(folder)
        files = {module.name: module.read_bytes(),
                 f"{info}/METADATA": _metadata().encode(),
                 f"{info}/WHEEL": (f"Wheel-Version: 1.0\nGenerator: {NAME} build backend\n"
                                   f"Root-Is-Purelib: false\nTag: {_tag()}\n").encode()}
        with zipfile.ZipFile(Path(wheel_directory) / wheel, "w", zipfile.ZIP_DEFLATED) as z:
            record = ""
            for name, data in files.items():
                z.writestr(name, data)
                record += _record_line(name, data)
            z.writestr(f"{info}/RECORD", record + f"{info}/RECORD,,\n")
    return wheel
