// SPDX-License-Identifier: Apache-2.0
// A program on the library for GenICam cameras, of which a test wants to know how it starts and ends:
//
//   camera_probe hold ADDRESS      opens the camera, says "held", keeps it until it is killed
//   camera_probe open ADDRESS      the result is 0 if the camera could be opened
//   camera_probe look [INI]        counts, and says what there is: a JSON object
//   camera_probe end               ends while queries run
//   camera_probe follow            says "frame" whenever frames come after none did, for 60 s at most or
//   until it
//                                  is asked to end
//
// In a folder of its own; INI is what kvcap2-genicam.ini says there.
#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTextStream>

#include <sys/prctl.h>

#include <csignal>

#include "camera/kvcap2.h"
#include "cameraoperations.h"

using namespace operations;

namespace {

volatile std::sig_atomic_t isAskedToEnd = 0;

void say(const QByteArray& line) {
    QFile out;
    if (out.open(stdout, QIODevice::WriteOnly))
        out.write(line + '\n');
}

int hold() {
    if (CameraInit(0) != 0 || !deliversWithin(0, 5000))
        return 1;
    say("held");
    std::this_thread::sleep_for(std::chrono::minutes(2));
    return 0;
}

int look() {
    QJsonObject result;
    QJsonArray serials;
    QString text;
    {
        const Log log;
        const Clock::time_point begin = Clock::now();
        int32_t count = -1;
        int32_t again = -1;
        CameraGetCount(&count);
        result["elapsed"] = since(begin);
        for (int32_t camera = 0; camera < count; ++camera) {
            CameraInit(camera);
            char serial[kSerialNumberLength + 1] = {};
            CameraReadSerialNumber(camera, serial, kSerialNumberLength);
            serials.append(QString::fromLatin1(serial));
        }
        result["count"] = count;
        result["first"] = count > 0 && deliversWithin(0, 3000);
        CameraGetCount(&again);
        result["again"] = again;
        // What there is not, is not.
        int32_t value = 0;
        result["beyond"] = CameraInit(count) != 0 && CameraGetGain(count, &value) != 0 &&
                           CameraGetGain(-1, &value) != 0 && CameraFree(count) != 0;
        for (int32_t camera = 0; camera < count; ++camera)
            CameraFree(camera);
        text = log.text();
    }
    result["serials"] = serials;
    result["log"] = text;
    say(QJsonDocument(result).toJson(QJsonDocument::Compact));
    return 0;
}

/// Its threads are inside of the library when main() returns.
int end() {
    int32_t count = 0;
    CameraGetCount(&count);
    for (int32_t camera = 0; camera < count; ++camera) {
        CameraInit(camera);
        std::thread([camera] {
            for (;;)
                query(camera);
        }).detach();
        std::thread([camera] {
            for (;;)
                getAll(camera);
        }).detach();
    }
    const bool isLive = deliversWithin(0, 5000);
    say("ends");
    return isLive ? 0 : 1;
}

int follow() {
    std::signal(SIGTERM, [](int) { isAskedToEnd = 1; });
    CameraInit(0);
    CameraSetTimeout(0, 200);
    const Clock::time_point begin = Clock::now();
    bool had = false;
    while (since(begin) < 60000 && isAskedToEnd == 0) {
        const bool has = query(0).status == 0;
        if (has != had)
            say(has ? "frame" : "none");
        had = has;
    }
    return isAskedToEnd != 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    QTemporaryDir folder;
    if (arguments.size() < 2 || !folder.isValid() || !QDir::setCurrent(folder.path()))
        return 2;
    const QString what = arguments[1];
    QString text = arguments.value(2);
    if (what == "hold" || what == "open")
        text = "[Library]\nAddresses=" + text + '\n';
    if (!text.isEmpty()) {
        QFile file("kvcap2-genicam.ini");
        if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0)
            return 2;
    }
    if (what == "hold" || what == "follow") {
        // Read by the first call. Those two are killed, and would leave it.
        int32_t count = 0;
        CameraGetCount(&count);
        folder.remove();
        return what == "hold" ? hold() : follow();
    }
    if (what == "open")
        return CameraInit(0) == 0 ? 0 : 1;
    if (what == "look")
        return look();
    return what == "end" ? end() : 2;
}
