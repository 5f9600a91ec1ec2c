"""Makes the wheel's tag: the package is pure Python, the library that it carries is for one kind of machine."""

import pathlib

from setuptools import setup
from setuptools.dist import Distribution

try:
    from setuptools.command.bdist_wheel import bdist_wheel
except ImportError:  # before setuptools 70.1
    from wheel.bdist_wheel import bdist_wheel

CARRIES = (pathlib.Path(__file__).parent / "tarvix/_native").is_dir()


class Wheel(bdist_wheel):
    def get_tag(self):
        return ("py3", "none", super().get_tag()[2])


class WithLibrary(Distribution):
    def has_ext_modules(self):
        return CARRIES


setup(cmdclass={"bdist_wheel": Wheel}, distclass=WithLibrary)
