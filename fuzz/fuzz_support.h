#pragma once
// What the file-using fuzz targets share: the Qt application their code
// needs, one scratch folder for the whole run, and a check that stops the
// run (libFuzzer then keeps the input) when a property does not hold.
#include <QCoreApplication>
#include <QTemporaryDir>
#include <cstdlib>

namespace fuzz {

inline QTemporaryDir* folder = nullptr;

inline void start(int* argc, char*** argv) {
  new QCoreApplication(*argc, *argv);
  folder = new QTemporaryDir;
}

inline void check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace fuzz
