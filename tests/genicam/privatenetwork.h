// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

/// Moves this process into a network of its own, which has the loopback interface and nothing else: cameras
/// of other tests, and of the room, are not in it. Children inherit it. Before any thread is started. Returns
/// what kept it from that, empty when nothing did.
QString enterPrivateNetwork();
/// Whether that was done, here or by a parent.
bool isNetworkPrivate();

/// The loopback interface of a private network lets no larger packets through, while this lives.
class SmallPackets {
public:
    explicit SmallPackets(int bytes);
    ~SmallPackets();
    SmallPackets(const SmallPackets&) = delete;
    SmallPackets& operator=(const SmallPackets&) = delete;

    /// False: it could not be done, or the network is not ours alone.
    bool isSet() const { return before_ > 0; }

private:
    int before_ = 0;  // bytes
};

/// Instead of QTEST_GUILESS_MAIN for tests with cameras. A system that does not allow it is no failure:
/// cameras by address have addresses of this process then.
#define CAMERA_TEST_MAIN(Test)                                         \
    int main(int argc, char** argv) {                                  \
        const QString reason = enterPrivateNetwork();                  \
        if (!reason.isEmpty())                                         \
            qWarning("no network of its own: %s", qPrintable(reason)); \
        QCoreApplication application(argc, argv);                      \
        Test test;                                                     \
        return QTest::qExec(&test, argc, argv);                        \
    }
