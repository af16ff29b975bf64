// SPDX-License-Identifier: Apache-2.0
#include "support/serialline.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include "support/xserver.h"

namespace {

constexpr int kLimit = 10000;  // ms

/// A pty that is open as long as the object lives, or -1.
class OpenEnd {
public:
    OpenEnd(const QString& path, int flags)
        : descriptor(open(QFile::encodeName(path).constData(), flags | O_NOCTTY)) {}
    ~OpenEnd() {
        if (descriptor >= 0)
            close(descriptor);
    }
    OpenEnd(const OpenEnd&) = delete;
    OpenEnd& operator=(const OpenEnd&) = delete;

    const int descriptor;
};

int bitsPerSecond(speed_t speed) {
    static const struct {
        speed_t speed;
        int number;
    } kSpeeds[] = {{B1200, 1200},   {B2400, 2400},   {B4800, 4800},   {B9600, 9600},
                   {B19200, 19200}, {B38400, 38400}, {B57600, 57600}, {B115200, 115200}};
    for (const auto& known : kSpeeds) {
        if (speed == known.speed)
            return known.number;
    }
    return 0;
}

int dataBits(tcflag_t flags) {
    switch (flags & CSIZE) {
        case CS5:
            return 5;
        case CS6:
            return 6;
        case CS7:
            return 7;
        default:
            return 8;
    }
}

}  // namespace

struct SerialLine::Parts {
    QTemporaryDir ends;
    ChildProcess socat;
    QString error;
};

SerialLine::SerialLine() : parts(std::make_unique<Parts>()) {}

SerialLine::~SerialLine() {
    if (parts->socat.state() != QProcess::NotRunning) {
        parts->socat.terminate();
        parts->socat.waitForFinished(kLimit);
    }
}

QString SerialLine::whyNot() {
    return {};
}

bool SerialLine::isPty() {
    return true;
}

bool SerialLine::plugIn() {
    parts->socat.start(QStringLiteral("socat"), {QStringLiteral("pty,raw,echo=0,link=") + programEnd(),
                                                 QStringLiteral("pty,raw,echo=0,link=") + controllerEnd()});
    if (!parts->socat.waitForStarted(kLimit)) {
        parts->error = QStringLiteral("socat is missing");
        return false;
    }
    if (!QTest::qWaitFor([&] { return QFile::exists(programEnd()) && QFile::exists(controllerEnd()); },
                         kLimit)) {
        parts->error = QStringLiteral("socat makes no ptys");
        return false;
    }
    return true;
}

QString SerialLine::errorString() const {
    return parts->error;
}

QString SerialLine::programEnd() const {
    return parts->ends.filePath(QStringLiteral("program"));
}

QString SerialLine::controllerEnd() const {
    return parts->ends.filePath(QStringLiteral("controller"));
}

/// As another process does, which opens the line for it.
bool SerialLine::send(const QByteArray& bytes) {
    const OpenEnd end(controllerEnd(), O_WRONLY);
    return end.descriptor >= 0 && write(end.descriptor, bytes.constData(),
                                        static_cast<size_t>(bytes.size())) == ssize_t(bytes.size());
}

bool SerialLine::unplug() {
    parts->socat.kill();
    return parts->socat.waitForFinished(kLimit);
}

std::optional<SerialLine::Settings> SerialLine::programSettings() const {
    const OpenEnd end(programEnd(), O_RDONLY | O_NONBLOCK);
    termios settings{};
    if (end.descriptor < 0 || tcgetattr(end.descriptor, &settings) != 0)
        return {};
    return Settings{bitsPerSecond(cfgetispeed(&settings)), bitsPerSecond(cfgetospeed(&settings)),
                    dataBits(settings.c_cflag), (settings.c_cflag & PARENB) != 0,
                    (settings.c_cflag & CSTOPB) != 0 ? 2 : 1};
}
