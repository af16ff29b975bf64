#pragma once

#include <QApplication>
#include <QByteArray>

#include <cstddef>
#include <cstdint>

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
