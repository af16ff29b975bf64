// SPDX-License-Identifier: Apache-2.0
#include "soak/workplace.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRect>
#include <QThread>
#include <climits>
#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "soak/clock.h"
#include "soak/settingstext.h"

namespace {

constexpr int kCameras = 4;
constexpr int kPoll = 10;  // ms

}  // namespace

Workplace::Workplace(QSize frameSize, int framesPerSecond) : frame(frameSize), rate(framesPerSecond) {}

Workplace::~Workplace() {
    if (process) {
        process->kill();
        process->waitForFinished();
    }
    for (const int end : {lineEnd, controllerEnd}) {
        if (end >= 0)
            close(end);
    }
}

QString Workplace::setUp() {
    if (!desktop.start())
        return desktop.errorString();
    char lineName[PATH_MAX];
    termios raw{};
    cfmakeraw(&raw);
    if (openpty(&controllerEnd, &lineEnd, lineName, &raw, nullptr) != 0 || !QDir().mkpath(pictures()))
        return QStringLiteral("The serial line or the working folder is not there");
    for (const int end : {lineEnd, controllerEnd})
        fcntl(end, F_SETFD, FD_CLOEXEC);
    QByteArray positions;
    for (int i = 0; i < kCameras; ++i)
        positions += "X" + QByteArray::number(i) + "=" + QByteArray::number(i * frame.width()) + "\nY" +
                     QByteArray::number(i) + "=0\n";
    const QByteArray size = QByteArray::number(frame.width()) + "x" + QByteArray::number(frame.height());
    const bool isWritten =
        write(QStringLiteral("setting.ini"),
              "[File]\nDelay=0\nFreezeImage=false\nLang=1\nPath=pictures\nPort=" + QByteArray(lineName) +
                  "\nQuality=75\nType=2\nXCount=\"10,10,10,10\"\nYCount=\"5,5,5,5\"\n"
                  "BarcodeMark=Text #ff0000 1 1 | 60 440 60 440 | 0 yyyy-MM-dd 0 x 1 0 0 0\n[Pos]\n" +
                  positions) &&
        write(QStringLiteral("kvcap2.ini"), "[Library]\nCount=4\nGroundTruth=truth.json\n[Camera]\nModes=" +
                                                size + "\nRate=" + QByteArray::number(rate) + "\n");
    return isWritten ? QString() : QStringLiteral("The working folder cannot be written to");
}

QString Workplace::startProgram() {
    process = std::make_unique<ChildProcess>();
    QProcessEnvironment environment = desktop.environment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    process->setProcessEnvironment(environment);
    process->setWorkingDirectory(folder());
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(logFile(), QIODevice::Append);
    forgetZoom();
    // What was sent when nobody read any more, after a kill, is lost on a real line; this one would keep it
    // for the next program.
    tcflush(lineEnd, TCIFLUSH);
    process->start(QStringLiteral(BIVISTA), QStringList());
    if (!process->waitForStarted(kDesktopLimit))
        return process->errorString();
    pid = process->processId();
    mainWindow = desktop.waitForWindow(QStringLiteral("Bivista"));
    if (mainWindow == 0)
        return QStringLiteral("no window; there are: ") + desktop.titles().join(QLatin1Char(','));
    const QString key = QStringLiteral("File/Zoom");
    const bool isFitted =
        waitFor([&] { return setting(key) != QLatin1String("0") && !setting(key).isEmpty(); });
    return isFitted ? QString() : QStringLiteral("no pictures of all cameras");
}

/// The program writes the zoom when the pictures of all cameras are there: who wants to see that takes the
/// one of the last run away.
void Workplace::forgetZoom() const {
    QFile settings(file(QStringLiteral("setting.ini")));
    if (!settings.open(QIODevice::ReadOnly))
        return;
    QList<QByteArray> lines = settings.readAll().split('\n');
    for (QByteArray& one : lines) {
        if (one.startsWith("Zoom="))
            one = "Zoom=0";
    }
    settings.close();
    write(QStringLiteral("setting.ini"), lines.join('\n'));
}

/// A process that has ended is still there until somebody asks for its exit code.
bool Workplace::isAlive() const {
    QFile status(QStringLiteral("/proc/%1/stat").arg(pid));
    if (pid == 0 || !status.open(QIODevice::ReadOnly))
        return false;
    const QByteArray text = status.readAll();
    const char state = text.mid(text.lastIndexOf(')') + 2, 1).at(0);
    return state != 'Z' && state != 'X';
}

void Workplace::kill() const {
    if (pid > 0)
        ::kill(static_cast<pid_t>(pid), SIGKILL);
}

void Workplace::waitForKilled() {
    process->waitForFinished(kDesktopLimit);
    desktop.waitForNoWindow(QStringLiteral("Bivista"));
    pid = 0;
}

int Workplace::endProgram() {
    // Also where it has crashed before, and where a box keeps it from ending.
    if (isAlive())
        desktop.closeWindow(mainWindow);
    const bool hasEnded = process->state() == QProcess::NotRunning || process->waitForFinished(kDesktopLimit);
    pid = 0;
    return hasEnded && process->exitStatus() == QProcess::NormalExit ? process->exitCode() : -1;
}

QString Workplace::setting(const QString& key) const {
    return readSettings(file(QStringLiteral("setting.ini"))).values.value(key);
}

bool Workplace::write(const QString& name, const QByteArray& content) const {
    QFile out(file(name));
    return out.open(QIODevice::WriteOnly) && out.write(content) == content.size();
}

bool Workplace::send(const QByteArray& bytes) {
    takenAtLeast = bytesTaken() + bytes.size();
    return ::write(controllerEnd, bytes.constData(), static_cast<size_t>(bytes.size())) == bytes.size();
}

bool Workplace::isLineFree() const {
    return unreadBytes() == 0 && (takenAtLeast <= 0 || bytesTaken() >= takenAtLeast);
}

/// What the thread of the program that reads the line has read so far; 0 if there is none.
qint64 Workplace::bytesTaken() const {
    const QString tasks = QStringLiteral("/proc/%1/task").arg(pid);
    const QStringList ids = QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    const auto contentOf = [&](const QString& id, const char* name) {
        QFile status(tasks + QLatin1Char('/') + id + QLatin1Char('/') + QLatin1String(name));
        return status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
    };
    for (const QString& id : ids) {
        if (contentOf(id, "comm").trimmed() == "PortReader")
            return contentOf(id, "io").split('\n').first().mid(int(qstrlen("rchar: "))).toLongLong();
    }
    return 0;
}

int Workplace::unreadBytes() const {
    int count = 0;
    return ioctl(lineEnd, FIONREAD, &count) == 0 ? count : 0;
}

// ---- the operator --------------------------------------------------------------------------------

bool Workplace::waitFor(const std::function<bool()>& condition, int limit) const {
    const double end = nowMs() + limit;
    while (!condition()) {
        if (nowMs() > end || !isAlive())
            return false;
        QThread::msleep(kPoll);
    }
    return true;
}

/// The window manager calls a window active before it has the keyboard: what is typed in between goes to a
/// dialog that is about to close.
bool Workplace::activateMain() {
    return isAlive() && (desktop.activeWindow() == mainWindow || desktop.activate(mainWindow)) &&
           waitFor([this] { return desktop.focus() == mainWindow; });
}

bool Workplace::keys(const QStringList& names) {
    return isAlive() &&
           desktop
               .run(
                   QStringLiteral("xdotool"),
                   QStringList{QStringLiteral("key"), QStringLiteral("--delay"), QStringLiteral("4")} + names)
               .ok;
}

bool Workplace::choose(Menu menu, int entry) {
    if (!activateMain())
        return false;
    // Alt+F opens the first menu in both languages, and every menu opens on its first entry, from where Up
    // goes to the last. What is typed before it is open goes elsewhere when the desktop is busy: Exit is not
    // far from the others.
    if (!keys({QStringLiteral("alt+f")}) || !waitFor([this] { return desktop.hasPopup(); }))
        return false;
    QStringList path;
    for (int i = 0; i < static_cast<int>(menu); ++i)
        path.append(QStringLiteral("Right"));
    for (int i = 1; i < entry; ++i)
        path.append(QStringLiteral("Down"));
    for (int i = 0; i > entry; --i)
        path.append(QStringLiteral("Up"));
    path.append(QStringLiteral("Return"));
    return keys(path) && waitFor([this] { return !desktop.hasPopup(); });
}

/// The place by the mouse: what xdotool says of a window's own place counts its frame twice. It is put where
/// no menu opens: one that it stands on would take the keyboard's menu away.
QRect Workplace::geometryOfMain() {
    constexpr int kOffX = 700;  // px
    constexpr int kOffY = 500;
    const QString id = QString::number(mainWindow);
    const QStringList commands[] = {
        {QStringLiteral("mousemove"), QStringLiteral("--window"), id, QString::number(kOffX),
         QString::number(kOffY), QStringLiteral("getmouselocation"), QStringLiteral("--shell")},
        {QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), id}};
    QMap<QByteArray, int> numbers;
    for (const QStringList& command : commands) {
        const auto lines = desktop.run(QStringLiteral("xdotool"), command).output.split('\n');
        for (const QByteArray& one : lines) {
            const QByteArray name = one.left(one.indexOf('='));
            if (!numbers.contains(name))
                numbers.insert(name, one.mid(one.indexOf('=') + 1).toInt());
        }
    }
    return {numbers.value("X") - kOffX, numbers.value("Y") - kOffY, numbers.value("WIDTH"),
            numbers.value("HEIGHT")};
}

QSize Workplace::windowSize() {
    return geometryOfMain().size();
}

bool Workplace::click(QPoint inWindow) {
    const QPoint at = geometryOfMain().topLeft() + inWindow;
    return isAlive() && desktop
                            .run(QStringLiteral("xdotool"),
                                 {QStringLiteral("mousemove"), QString::number(at.x()),
                                  QString::number(at.y()), QStringLiteral("click"), QStringLiteral("1")})
                            .ok;
}

/// The separator is the only upright line as high as this with the tool bar's own background on both sides.
QPoint Workplace::buttonBehindSeparator() {
    const QImage screen = desktop.screenshot().copy(geometryOfMain());
    constexpr int kTop = 40;     // px, below the menus
    constexpr int kBottom = 70;  // above the picture
    constexpr int kBeside = 4;   // px from the line to where nothing of it is seen
    constexpr int kButton = 24;  // px from the line into the next button, whatever its text
    const auto isLine = [&](int x) {
        for (int y = kTop; y < kBottom; ++y) {
            const QRgb background = screen.pixel(x - kBeside, y);
            if (screen.pixel(x + kBeside, y) != background || screen.pixel(x, y) == background)
                return false;
        }
        return true;
    };
    for (int x = kButton; x < screen.width() - kButton; ++x) {
        if (isLine(x))
            return {x + kButton, (kTop + kBottom) / 2};
    }
    return {};
}

bool Workplace::waitForBox(int limit) {
    return waitFor(
        [this] {
            const quint32 active = desktop.activeWindow();
            return active != 0 && active != mainWindow;
        },
        limit);
}

QString Workplace::activeTitle() {
    const auto told = desktop.run(QStringLiteral("xdotool"),
                                  {QStringLiteral("getactivewindow"), QStringLiteral("getwindowname")});
    return QString::fromUtf8(told.output).trimmed();
}

// ---- corners -------------------------------------------------------------------------------------

QVector<QVector<QPointF>> Workplace::corners() const {
    QFile truth(file(QStringLiteral("truth.json")));
    QVector<QVector<QPointF>> result;
    if (!truth.open(QIODevice::ReadOnly))
        return result;
    const auto cameras =
        QJsonDocument::fromJson(truth.readAll()).object()[QStringLiteral("cameras")].toArray();
    for (const auto& camera : cameras) {
        const auto points = camera.toObject()[QStringLiteral("modes")]
                                .toArray()
                                .at(0)
                                .toObject()[QStringLiteral("corners")]
                                .toArray();
        QVector<QPointF> list;
        for (const auto& point : points)
            list.append({point.toArray().at(0).toDouble(), point.toArray().at(1).toDouble()});
        result.append(list);
    }
    return result;
}

QByteArray Workplace::cornerMarks(double shift) const {
    QByteArray text;
    const auto cameras = corners();
    for (int camera = 0; camera < cameras.size(); ++camera) {
        for (const QPointF& point : cameras[camera])
            text += QStringLiteral("Coordinates #ff0000 1 1 | %1 %2\r\n")
                        .arg(point.x() + camera * frame.width() + shift)
                        .arg(point.y())
                        .toLatin1();
    }
    return text;
}
