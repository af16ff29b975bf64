// SPDX-License-Identifier: Apache-2.0
// A GigE Vision camera on a loopback address, as a process of its own: it can be killed, stopped and started
// again as a real one can be unplugged. Says "ready" when it listens. Ends with its parent, or after a time.
#include <QCoreApplication>
#include <QTimer>

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "fakecamera.h"
#include "fakehooks.h"

int main(int argc, char** argv) {
    const pid_t parent = getppid();
    QCoreApplication application(argc, argv);
    const fake::Options options = fake::readOptions(QCoreApplication::arguments());
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        return 0;

    fake::setInterface(options.address.toLatin1());
    const fake::FakeCamera camera(options);
    if (!camera.isRunning()) {
        std::fprintf(stderr, "fake_gige_camera: cannot listen on %s\n", qPrintable(options.address));
        return 1;
    }
    std::puts("ready");
    std::fflush(stdout);
    QTimer::singleShot(options.seconds * 1000, &application, &QCoreApplication::quit);
    return QCoreApplication::exec();
}
