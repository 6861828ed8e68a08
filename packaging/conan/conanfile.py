"""Conan 2 recipe of the sources that it stands in: conan create packaging/conan"""
import os
import re

from conan import ConanFile
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load, rmdir

sources = os.path.join("..", "..")


class QuarnConan(ConanFile):
    name = "quarn"
    description = "I/O building blocks for Qt desktop applications"
    topics = ("qt", "io", "streams", "signatures")
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {
        "shared": True,
        "fPIC": True,
        "boost/*:header_only": True,
        "qt/*:shared": True,
        "qt/*:qttools": True,  # compiles the translations
        "qt/*:with_dbus": True,
    }
    implements = ["auto_shared_fpic"]

    def set_version(self):
        text = load(self, os.path.join(self.recipe_folder, sources, "CMakeLists.txt"))
        self.version = re.search(r"project\(Quarn VERSION ([0-9.]+)", text).group(1)

    def export_sources(self):
        root = os.path.join(self.recipe_folder, sources)
        for pattern in ("CMakeLists.txt", "CHANGELOG.md", "cmake/*", "packaging/debian/*", "src/*"):
            copy(self, pattern, root, self.export_sources_folder)

    def requirements(self):
        self.requires("boost/[>=1.66 <2]", transitive_headers=True)
        self.requires("openssl/[>=3 <4]")
        self.requires("qt/[>=6.4 <7]", transitive_headers=True, transitive_libs=True)

    def build_requirements(self):
        self.tool_requires("cmake/[>=3.22]")

    def validate(self):
        check_min_cppstd(self, 17)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["QUARN_QT_VERSION_MAJOR"] = "6"
        for part in ("EXAMPLES", "TESTS", "TOOLS"):
            toolchain.cache_variables[f"QUARN_BUILD_{part}"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "copyright", os.path.join(self.source_folder, "packaging", "debian"),
             os.path.join(self.package_folder, "licenses"))
        CMake(self).install()
        rmdir(self, os.path.join(self.package_folder, "lib", "pkgconfig"))

    def package_info(self):
        # Users find the packages for CMake that the sources install.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = [os.path.join("share", "cmake", "Quarn"),
                                   os.path.join("lib", "cmake", "Quarn-qt6")]
        self.cpp_info.libs = ["Quarn-qt6"]
