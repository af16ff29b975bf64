// SPDX-License-Identifier: Apache-2.0
/// What the fuzz targets share. A target is one function, LLVMFuzzerTestOneInput: libFuzzer calls it with new
/// inputs (the fuzz preset), replay.cpp with the kept ones (every other preset).
#pragma once

#include <QApplication>
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

/// What every target needs once: an application without a display, and silence, since the program logs each
/// colour that is none.
inline void startApplication() {
    static const bool started = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
        static int argc = 1;
        static char name[] = "fuzz";
        static char* argv[] = {name, nullptr};
        new QApplication(argc, argv);  // for the whole run
        return true;
    }();
    (void)started;
}

/// A promise that the input has broken ends the run, as a fault found by a sanitizer does.
inline void must(bool holds, const char* promise) {
    if (holds)
        return;
    std::fprintf(stderr, "Broken promise: %s\n", promise);
    std::abort();
}

inline QByteArray bytesOf(const uint8_t* data, size_t size) {
    return {reinterpret_cast<const char*>(data), static_cast<int>(size)};
}

/// Between the parts of an input that stands for several things, one behind the other.
constexpr char kPartEnd = '\x1e';

/// The parts of an input, at least one.
inline QList<QByteArray> partsOf(const QByteArray& input) {
    return input.split(kPartEnd);
}

inline void writeFile(const QString& name, const QByteArray& content) {
    QFile file(name);
    must(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), "the folder takes files");
}

inline QByteArray contentOfFile(const QString& name) {
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A folder of this input alone: QSettings keeps what it has read of a name. It is the working folder as long
/// as it lives.
class InputFolder {
public:
    InputFolder() : before(QDir::currentPath()) { QDir::setCurrent(folder.path()); }
    ~InputFolder() { QDir::setCurrent(before); }
    InputFolder(const InputFolder&) = delete;
    InputFolder& operator=(const InputFolder&) = delete;

private:
    QString before;
    QTemporaryDir folder;
};
