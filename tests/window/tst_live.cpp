#include "support/mainwindowtest.h"

/// The window on the simulated cameras.
class TestLive : public QObject {
    Q_OBJECT
};

QTEST_MAIN(TestLive)
#include "tst_live.moc"
