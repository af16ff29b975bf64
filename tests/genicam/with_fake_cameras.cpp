// SPDX-License-Identifier: Apache-2.0
// Starts fake cameras and a program beside them, in a network and a working folder of their own, and ends
// with the program's result.
//
//   with_fake_cameras [--count N] [--set KEY=VALUE]... [--library KEY=VALUE]... [--discover] [--here]
//                     [--library-path FOLDER] [options of fake_gige_camera] -- PROGRAM [ARGUMENTS]
//
// --set and --library write further keys of [Camera] and [Library]; --discover leaves the addresses out, so
// that the library finds the cameras; --library-path comes first in the search for libraries; --here keeps
// the working folder.
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>

#include <sys/prctl.h>

#include <csignal>

#include "fakecameras.h"
#include "privatenetwork.h"

namespace {

constexpr int kSkipped = 77;  // as the test driver knows it

/// Ends with us, whoever ends us.
class Program : public QProcess {
protected:
    void setupChildProcess() override { prctl(PR_SET_PDEATHSIG, SIGKILL); }
};

int fail(const QString& reason, int result = 2) {
    QTextStream(stderr) << "with_fake_cameras: " << reason << '\n';
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    const QString network = enterPrivateNetwork();
    QCoreApplication application(argc, argv);
    if (!network.isEmpty())
        return fail(network, kSkipped);

    QStringList arguments = QCoreApplication::arguments().mid(1);
    QStringList options;
    QStringList all;
    QStringList library;
    QString path;
    int count = 4;
    bool isHere = false;
    bool isDiscovering = false;
    while (!arguments.isEmpty()) {
        const QString argument = arguments.takeFirst();
        if (argument == "--")
            break;
        if (argument == "--here")
            isHere = true;
        else if (argument == "--discover")
            isDiscovering = true;
        else if (argument == "--count" && !arguments.isEmpty())
            count = arguments.takeFirst().toInt();
        else if (argument == "--set" && !arguments.isEmpty())
            all.append(arguments.takeFirst());
        else if (argument == "--library" && !arguments.isEmpty())
            library.append(arguments.takeFirst());
        else if (argument == "--library-path" && !arguments.isEmpty())
            path = arguments.takeFirst();
        else
            options.append(argument);
    }
    if (arguments.isEmpty())
        return fail("[--count N] [--set KEY=VALUE]... [options of a camera] -- PROGRAM [ARGUMENTS]");

    FakeCameras cameras(count, options);
    const QString reason = cameras.start();
    if (!reason.isEmpty())
        return fail(reason);
    const QTemporaryDir folder;
    if (!folder.isValid())
        return fail(folder.errorString());
    QFile configuration(folder.filePath("kvcap2-genicam.ini"));
    QByteArray text = cameras.configuration(all, library);
    if (isDiscovering)
        text.replace("Addresses=", "; ");
    if (!configuration.open(QIODevice::WriteOnly) || configuration.write(text) != text.size())
        return fail(configuration.errorString());
    configuration.close();
    // By name, since the program may choose another working folder.
    qputenv("KVCAP2_GENICAM_CONFIG", QFile::encodeName(configuration.fileName()));
    if (!path.isEmpty()) {
        const QByteArray further = qgetenv("LD_LIBRARY_PATH");
        qputenv("LD_LIBRARY_PATH", QFile::encodeName(path) + (further.isEmpty() ? "" : ":") + further);
    }

    Program program;
    program.setProcessChannelMode(QProcess::ForwardedChannels);
    program.setInputChannelMode(QProcess::ForwardedInputChannel);
    if (!isHere)
        program.setWorkingDirectory(folder.path());
    const QString name = arguments.takeFirst();
    program.start(name.contains('/') ? QDir().absoluteFilePath(name) : name, arguments);
    if (!program.waitForStarted(-1))
        return fail(name + ": " + program.errorString());
    program.waitForFinished(-1);
    return program.exitStatus() == QProcess::NormalExit ? program.exitCode() : fail(name + " crashed", 3);
}
