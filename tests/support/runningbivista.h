// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QMap>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

#include "support/xserver.h"

/// Waits for what nothing tells; ms.
template <typename Condition>
bool waitFor(Condition condition, int limit = kDesktopLimit) {
    QElapsedTimer time;
    time.start();
    while (time.elapsed() < limit) {
        if (condition())
            return true;
        QTest::qWait(50);
    }
    return false;
}

/// The program as a process of its own on a desktop, in a working folder of its own with four small simulated
/// cameras. What it saves are PNG files. Ends with the object.
class RunningBivista {
public:
    /// `program` with `arguments` starts it; the folder is made in a temporary one, by the given name.
    RunningBivista(XServer& desktop, QString startedBy, QStringList startedWith = {},
                   const QString& name = {})
        : server(desktop),
          program(std::move(startedBy)),
          arguments(std::move(startedWith)),
          folder(name.isEmpty() ? place.path() : place.filePath(name)) {
        QDir().mkpath(folder.path());
        write("setting.ini",
              "[File]\nType=2\nLang=1\n[Pos]\nX0=0\nX1=320\nX2=640\nX3=960\nY1=0\nY2=0\nY3=0\n");
        write("kvcap2.ini", "[Library]\nCount=4\n[Camera]\nModes=640x480\nRate=20\n");
    }

    void write(const QString& name, const QByteArray& content) const {
        QFile file(folder.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), content.size());
    }

    QByteArray read(const QString& name) const {
        QFile file(folder.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    void start(const QMap<QString, QString>& variables = {}) {
        QProcessEnvironment environment = server.environment();
        for (auto i = variables.begin(); i != variables.end(); ++i)
            environment.insert(i.key(), i.value());
        process = std::make_unique<DesktopProgram>(environment, program, arguments, folder.path());
    }

    /// Pictures saved so far.
    QStringList pictures() const { return folder.entryList({"snapshot-*.png"}, QDir::Files, QDir::Name); }

    bool waitForPictures(int count) const {
        return waitFor([&] { return pictures().size() >= count; });
    }

    QImage lastPicture() const { return QImage(folder.filePath(pictures().last())); }

    /// Presses the save key until a picture with every tile in it comes, which is wider than `width`: the
    /// streams have started then.
    bool waitForStreams(int width = 960) const {
        QElapsedTimer time;
        time.start();
        while (time.elapsed() < kDesktopLimit) {
            const int before = pictures().size();
            server.key("ctrl+w");
            // Before there is a tile the key saves nothing; then it is pressed again.
            waitFor([&] { return pictures().size() > before; }, 1000);
            if (pictures().size() > before && lastPicture().width() > width)
                return true;
        }
        return false;
    }

private:
    QTemporaryDir place;

public:
    XServer& server;
    const QString program;
    const QStringList arguments;
    const QDir folder;
    std::unique_ptr<DesktopProgram> process;
};
