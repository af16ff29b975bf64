// SPDX-License-Identifier: Apache-2.0
#include <QSignalSpy>
#include <QtTest>
#include <memory>

#include "control/commandexecutor.h"
#include "support/recordingcamera.h"

namespace {

constexpr int kWait = 10000;  // ms, limit of every wait

}  // namespace

/// Commands of the machine controller carried out, without a window.
class TestCommandExecutor : public QObject {
    Q_OBJECT

private slots:
    void init();
    void parameters_data();
    void parameters();
    void camerasThatAreNotThere();
    void nothingForUnknownWords();
    void triggerAtOnce();
    void triggersAfterTheirDelay();
    void triggerThatIsPendingAtTheEnd();
    void setDelay();

private:
    void execute(const QByteArray& text) { executor->execute(parseSerialCommand(text)); }

    std::unique_ptr<CommandExecutor> executor;
    QStringList done;  // what was asked for beside the cameras
    int delay = 0;
};

void TestCommandExecutor::init() {
    recording::reset(3);
    done.clear();
    delay = 0;
    CommandExecutor::Actions actions;
    actions.show = [this](const QString& echo) { done.append(QStringLiteral("show ") + echo); };
    actions.save = [this] { done.append(QStringLiteral("save")); };
    actions.saveDelay = [this] { return delay; };
    actions.setSaveDelay = [this](int ms) { done.append(QStringLiteral("delay %1").arg(ms)); };
    actions.parametersChanged = [this] {
        done.append(QStringLiteral("changed after %1").arg(recording::calls().size()));
    };
    executor = std::make_unique<CommandExecutor>(3, actions);
}

void TestCommandExecutor::parameters_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<bool>("isParameter");
    QTest::newRow("gamma of all") << QByteArray("GAMMA 0.5")
                                  << QStringList{"CameraSetGamma(0, 0.5)", "CameraSetGamma(1, 0.5)",
                                                 "CameraSetGamma(2, 0.5)"}
                                  << true;
    QTest::newRow("contrast of one") << QByteArray("contrast 2 1.5")
                                     << QStringList{"CameraSetContrast(2, 1.5)"} << true;
    QTest::newRow("exposure, truncated")
        << QByteArray("EXPOSURE 0 1500.7") << QStringList{"CameraSetExposure(0, 1500)"} << true;
    QTest::newRow("gain") << QByteArray("GAIN 1 20") << QStringList{"CameraSetGain(1, 20)"} << true;
    QTest::newRow("advanced gain") << QByteArray("ADVANCEDGAIN 0 3")
                                   << QStringList{"CameraSetAdvancedGain(0, 3)"} << true;
    QTest::newRow("save one") << QByteArray("SAVE 1") << QStringList{"CameraSaveParameter(1, 0)"} << false;
    QTest::newRow("save all") << QByteArray("SAVE")
                              << QStringList{"CameraSaveParameter(0, 0)", "CameraSaveParameter(1, 0)",
                                             "CameraSaveParameter(2, 0)"}
                              << false;
}

/// The echo comes first, then the cameras in order, then the dialog follows; after SAVE it does not.
void TestCommandExecutor::parameters() {
    QFETCH(QByteArray, text);
    QFETCH(QStringList, calls);
    QFETCH(bool, isParameter);
    execute(text);
    QCOMPARE(recording::callsButFrames(), calls);
    QStringList wanted{QStringLiteral("show COMMAND:") + QString::fromLatin1(text)};
    if (isParameter)
        wanted.append(QStringLiteral("changed after %1").arg(calls.size()));
    QCOMPARE(done, wanted);
}

void TestCommandExecutor::camerasThatAreNotThere() {
    execute("GAIN 3 5");
    execute("GAIN 2147483647 5");
    QCOMPARE(recording::callsButFrames(), QStringList());
    execute("GAIN -7 5");  // every camera
    QCOMPARE(recording::callsOf(QStringLiteral("CameraSetGain")).size(), 3);
}

void TestCommandExecutor::nothingForUnknownWords() {
    execute("HELLO 1 2");
    execute("GAIN 1 -2");
    execute("");
    QCOMPARE(done, QStringList());
    QCOMPARE(recording::callsButFrames(), QStringList());
}

void TestCommandExecutor::triggerAtOnce() {
    for (const int ms : {0, -5}) {
        done.clear();
        delay = ms;
        execute("Trigger\r\n");
        QCOMPARE(done, (QStringList{QStringLiteral("show COMMAND:TRIGGER"), QStringLiteral("save")}));
    }
    QCOMPARE(recording::callsButFrames(), QStringList());
}

void TestCommandExecutor::triggersAfterTheirDelay() {
    delay = 60;
    QElapsedTimer time;
    time.start();
    execute("TRIGGER");
    delay = 30;
    execute("TRIGGER");
    QCOMPARE(done.count(QStringLiteral("save")), 0);
    QTRY_COMPARE_WITH_TIMEOUT(done.count(QStringLiteral("save")), 2, kWait);
    QVERIFY2(time.elapsed() >= 59, qPrintable(QString::number(time.elapsed())));
}

void TestCommandExecutor::triggerThatIsPendingAtTheEnd() {
    delay = 20;
    execute("TRIGGER");
    executor.reset();
    QTest::qWait(100);  // absence of a call has no signal to wait for
    QCOMPARE(done.count(QStringLiteral("save")), 0);
}

void TestCommandExecutor::setDelay() {
    execute("SETDELAY 500");
    execute("SETDELAY 0");
    execute("SETDELAY -5");
    execute("SETDELAY");
    QCOMPARE(done, (QStringList{QStringLiteral("show COMMAND:SETDELAY 500"), QStringLiteral("delay 500"),
                                QStringLiteral("show COMMAND:SETDELAY 0"),
                                QStringLiteral("show COMMAND:SETDELAY -5")}));
}

QTEST_GUILESS_MAIN(TestCommandExecutor)
#include "tst_commandexecutor.moc"
