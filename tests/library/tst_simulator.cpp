// SPDX-License-Identifier: Apache-2.0
// What the simulated cameras promise beyond the contract of the operations: docs/simulator.md. Runs
// SimulatorCases, each case in a process of its own, and the parts that only reckon right here.

#include <QCoreApplication>
#include <QFile>
#include <QHash>
#include <QMetaMethod>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include "automaticexposure.h"
#include "faults.h"
#include "frameclock.h"
#include "simulatorcases.h"

using namespace std::chrono_literals;

namespace {

constexpr int kCaseLimit = 240000;  // ms, for instrumented builds on a busy machine
constexpr char kCaseVariable[] = "BIVISTA_SIMULATOR_CASE";

struct Settings {
    QStringList variables;  // without their prefix
    QByteArray file;        // kvcap2.ini
};

/// Small frames on demand, without noise and movement: what most cases want to look at.
const QStringList kCalm{"COUNT=1", "MODES=320x180,160x120", "RATE=0", "NOISE=0", "MOVING=0"};

QStringList calm(const QStringList& more) {
    return kCalm + more;
}

Settings settingsOf(const QByteArray& name) {
    static const QHash<QByteArray, Settings> special{
        {"isFourCamerasByDefault", {}},
        {"readsTheFile",
         {{},
          "[Library]\nCount=2\n[Camera]\nModes=320x200, 100x50\nRate=0\n[Camera1]\nSerial=LEFT\nMode=1\n"}},
        {"variablesOverrideTheFile",
         {{"COUNT=3", "CAMERA1_SERIAL=FROMENV", "MODES=64x48"},
          "[Library]\nCount=2\n[Camera]\nModes=320x200\n[Camera1]\nSerial=FROMFILE\n[Camera2]\nModes="
          "80x60\n"}},
        {"readsAnotherFile", {{"CONFIG=other.ini", "MODES=64x48"}, "[Library]\nCount=2\n"}},
        {"complainsAboutBadValues",
         {{"COUNT=many", "RATE=-3", "MODES=640x", "ARRANGEMENT=circle", "MOVING=perhaps",
           "SERIAL=MUCHTOOLONGFORIT", "PHASE=-1", "JITTER=1001"},
          "[Camera]\nRaet=30\n"}},
        {"absurdModesAreRefused",
         {{},
          "[Library]\nCount=5\n[Camera0]\nModes=4097x10\n[Camera1]\nModes=10x4097\n[Camera2]\nModes=0x10\n"
          "[Camera3]\nModes=64x48x2\n[Camera4]\nModes=4096x1\n"}},
        {"canHaveNoCamera", {{"COUNT=0"}, {}}},
        {"canHaveEightCameras", {{"COUNT=8", "MODES=64x48", "RATE=0"}, {}}},
        {"groundTruthJoinsTheRow", {{"GROUND_TRUTH=truth.json", "COUNT=5"}, {}}},
        {"groundTruthJoinsTheGrid", {{"GROUND_TRUTH=truth.json", "ARRANGEMENT=grid"}, {}}},
        {"groundTruthAgreesWithPictures", {{"GROUND_TRUTH=truth.json", "RATE=0"}, {}}},
        {"showsAPictureFile", {calm({"IMAGE=quarters.png"}), {}}},
        {"showsTheChartForAMissingPicture", {calm({"IMAGE=nowhere.png"}), {}}},
        {"moves", {calm({"MOVING=1"}), {}}},
        {"picturesOfTheGrid", {{"ARRANGEMENT=grid", "MODES=320x180", "RATE=0", "NOISE=0", "MOVING=0"}, {}}},
        {"picturesOfTheRow", {{"COUNT=2", "MODES=320x180", "RATE=0", "NOISE=0", "MOVING=0"}, {}}},
        {"pictureInDetail", {{"COUNT=1", "MODES=2560x1440", "RATE=0", "NOISE=0", "MOVING=0"}, {}}},
        {"picturesInMotion", {calm({"MOVING=1"}), {}}},
        {"pictureWithNoise", {{"COUNT=1", "MODES=160x120", "RATE=0", "NOISE=4", "MOVING=0", "SEED=5"}, {}}},
        {"noiseHasItsStrength", {calm({"NOISE=4"}), {}}},
        {"noiseComesBack", {{"COUNT=2", "MODES=320x180", "RATE=0"}, {}}},
        {"printsAFrame", {{"COUNT=1", "MODES=320x180", "RATE=0"}, {}}},
        {"antiFlickerCalmsTheLight", {calm({"FLICKER=0.3", "MAINS_FREQUENCY=50"}), {}}},
        {"slotsKeepParameters", {{"COUNT=2", "MODES=64x48,32x24", "RATE=0"}, {}}},
        {"keepsTheRate", {{"COUNT=1", "MODES=64x48", "RATE=50"}, {}}},
        {"phaseDelaysTheBeat", {{"COUNT=2", "MODES=64x48", "RATE=2", "CAMERA1_PHASE=250"}, {}}},
        {"jitterMakesFramesLate", {{"COUNT=1", "MODES=64x48", "RATE=10", "JITTER=60"}, {}}},
        {"highspeedDoublesTheRate", {{"COUNT=1", "MODES=64x48", "RATE=10"}, {}}},
        {"delayAddsUp", {{"COUNT=1", "MODES=64x48", "RATE=50"}, {}}},
        {"longExposureSlowsDown", {{"COUNT=1", "MODES=64x48", "RATE=50"}, {}}},
        {"shotsAreRemembered", {{"COUNT=1", "MODES=64x48", "RATE=50"}, {}}},
        {"shotInContinuousModeIsRefused", {{"COUNT=1", "MODES=64x48", "RATE=50"}, {}}},
        {"timeoutCanChangeWhileWaiting", {{"COUNT=1", "MODES=64x48", "NO_FRAMES=1"}, {}}},
        {"initFails", {{"COUNT=3", "MODES=64x48", "CAMERA1_INIT_FAILS=1"}, {}}},
        {"noFrames", {{"COUNT=2", "MODES=64x48", "RATE=50", "CAMERA0_NO_FRAMES=1"}, {}}},
        {"everyThirdQueryFails", {calm({"FAIL_EVERY=3"}), {}}},
        {"cableComesBack",
         {{"COUNT=1", "MODES=64x48", "RATE=50", "CABLE_OUT_AT_FRAME=5", "CABLE_OUT_FOR=600"}, {}}},
        {"sizeChangesByItself", {calm({"SIZE_CHANGE_AFTER=4", "SIZE_CHANGE_MODE=1"}), {}}},
        {"queriesAreSlow", {calm({"SLOW_QUERY=300"}), {}}},
        {"serialIsGarbage", {{"COUNT=1", "MODES=64x48", "GARBAGE_SERIAL=yes"}, {}}},
        {"freeEndsAQuery", {{"COUNT=1", "MODES=64x48", "NO_FRAMES=1"}, {}}},
        {"opensAndClosesUnderFire", {{"COUNT=2", "MODES=320x180,64x48", "RATE=200"}, {}}},
    };
    return special.value(name, {kCalm, {}});
}

/// Standard output of a case; nothing if it failed, with the reason in `report`.
QByteArray runCase(const QByteArray& name, const Settings& settings, QByteArray& report) {
    const QTemporaryDir folder;
    QFile file(folder.filePath(settings.variables.contains("CONFIG=other.ini") ? "other.ini" : "kvcap2.ini"));
    if (!settings.file.isEmpty() && file.open(QIODevice::WriteOnly)) {
        file.write(settings.file);
        file.close();
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString& variable : environment.keys()) {
        if (variable.startsWith("KVCAP2_"))
            environment.remove(variable);
    }
    for (const QString& variable : settings.variables)
        environment.insert("KVCAP2_" + variable.section('=', 0, 0), variable.section('=', 1));
    environment.insert(kCaseVariable, QString::fromLatin1(name));

    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(folder.path());
    process.start(QCoreApplication::applicationFilePath(), {});
    const bool isOver = process.waitForFinished(kCaseLimit);
    if (!isOver) {
        process.kill();
        process.waitForFinished();
    }
    const QByteArray output = process.readAllStandardOutput();
    report = output + process.readAllStandardError() + (isOver ? "" : "the case did not end");
    const bool isGood = isOver && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    return isGood ? output : QByteArray();
}

}  // namespace

class SimulatorTest : public QObject {
    Q_OBJECT

private slots:
    // The quick ones first.
    void clockDoesNotDrift();
    void clockGivesTheNewestFrame();
    void clockHasItsJitter();
    void clockKeepsLateFramesBack();
    void cableFaultHasItsTime();
    void automaticsStayAtTheTarget();

    void promise_data();
    void promise();
    void seedDecidesTheNoise();
    void exportsNothingElse();
};

void SimulatorTest::promise_data() {
    QTest::addColumn<QByteArray>("name");
    const QMetaObject& cases = SimulatorCases::staticMetaObject;
    for (int i = cases.methodOffset(); i < cases.methodCount(); ++i) {
        const QByteArray name = cases.method(i).name();
        if (!name.endsWith("_data"))
            QTest::newRow(name.constData()) << name;
    }
}

void SimulatorTest::promise() {
    QFETCH(QByteArray, name);
    QByteArray report;
    const bool isKept = !runCase(name, settingsOf(name), report).isEmpty();
    QVERIFY2(isKept, report.constData());
}

void SimulatorTest::seedDecidesTheNoise() {
    const auto frameUnder = [](const QString& seed) {
        Settings settings = settingsOf("printsAFrame");
        settings.variables << "SEED=" + seed;
        QByteArray report;
        const QByteArray output = runCase("printsAFrame", settings, report);
        const int at = output.indexOf("frame:");
        return at < 0 ? QByteArray() : output.mid(at, 6 + 40);
    };
    const QByteArray first = frameUnder("5");
    QVERIFY(!first.isEmpty());
    QCOMPARE(frameUnder("5"), first);
    const QByteArray other = frameUnder("6");
    QVERIFY(!other.isEmpty());
    QVERIFY(other != first);
}

void SimulatorTest::exportsNothingElse() {
#ifdef Q_OS_LINUX
    const QString nm = QStandardPaths::findExecutable("nm");
    if (nm.isEmpty())
        QSKIP("there is no nm");
    QProcess process;
    process.start(nm, {"--dynamic", "--defined-only", "--format=posix", KVCAP2_LIBRARY});
    QVERIFY(process.waitForFinished());
    const QList<QByteArray> lines = process.readAllStandardOutput().trimmed().split('\n');
    for (const QByteArray& line : lines)
        QVERIFY2(line.startsWith("Camera"), line.constData());
    QCOMPARE(lines.size(), 47);
#else
    QSKIP("Linux only");
#endif
}

void SimulatorTest::clockDoesNotDrift() {
    kvsim::FrameClock clock;
    const kvsim::TimePoint start{};
    clock.start(start);
    clock.setPeriod(33333333ns);
    // The caller is always a little late; the beat does not move.
    for (int frame = 1; frame <= 300; ++frame) {
        QCOMPARE((clock.due() - start).count(), 33333333LL * frame);
        QCOMPARE(clock.take(clock.due() + 5ms), int64_t{1});
    }
}

void SimulatorTest::clockGivesTheNewestFrame() {
    kvsim::FrameClock clock;
    const kvsim::TimePoint start{};
    clock.start(start);
    clock.setPeriod(10ms);
    QCOMPARE(clock.take(start + 47ms), int64_t{4});
    QVERIFY(clock.lastTaken() == start + 40ms);
    QVERIFY(clock.due() == start + 50ms);
    // Frames on demand: always due.
    clock.setPeriod(0ms);
    QVERIFY(clock.due() <= start + 47ms);
    QCOMPARE(clock.take(start + 60ms), int64_t{1});
}

void SimulatorTest::clockHasItsJitter() {
    const kvsim::TimePoint start{};
    const auto beginning = [&](uint32_t seed) {
        kvsim::FrameClock clock;
        clock.setJitter(4ms, seed);
        clock.setPeriod(10ms);
        clock.start(start);
        return clock;
    };
    kvsim::FrameClock clock = beginning(1);
    kvsim::FrameClock same = beginning(1);
    kvsim::FrameClock other = beginning(2);
    kvsim::Duration least = 4ms;
    kvsim::Duration most = 0ms;
    int different = 0;
    for (int frame = 1; frame <= 200; ++frame) {
        const kvsim::Duration late = clock.due() - (start + frame * 10ms);
        QVERIFY(late >= 0ms && late < 4ms);
        least = std::min(least, late);
        most = std::max(most, late);
        QVERIFY(clock.due() == same.due());
        different += clock.due() != other.due() ? 1 : 0;
        QCOMPARE(clock.take(clock.due()), int64_t{1});
        QVERIFY(clock.lastTaken() == start + frame * 10ms);
        same.take(same.due());
        other.take(other.due());
    }
    QVERIFY(least < 400us && most > 3600us);
    QVERIFY(different > 190);
}

void SimulatorTest::clockKeepsLateFramesBack() {
    // Whoever comes late gets the newest frame that has come, not one that is still under way.
    for (uint32_t seed = 0; seed < 50; ++seed) {
        kvsim::FrameClock clock;
        const kvsim::TimePoint start{};
        clock.setJitter(8ms, seed);
        clock.setPeriod(10ms);
        clock.start(start);
        kvsim::FrameClock slow = clock;
        clock.take(clock.due());
        const bool isSecondThere = clock.due() <= start + 24ms;
        QCOMPARE(slow.take(start + 24ms), int64_t{isSecondThere ? 2 : 1});
    }
}

void SimulatorTest::cableFaultHasItsTime() {
    kvsim::FaultPlan plan;
    plan.cableOutAtTime = 100;
    plan.cableOutFor = 50;
    kvsim::FaultRun run(plan);
    const kvsim::TimePoint start{};
    run.start(start);
    QVERIFY(!run.isCableOut(start + 99ms));
    QVERIFY(run.isCableOut(start + 100ms));
    QVERIFY(run.isCableOut(start + 149ms));
    QVERIFY(!run.isCableOut(start + 150ms));
    QVERIFY(*run.nextCableEvent(start) == start + 100ms);
    QVERIFY(*run.nextCableEvent(start + 120ms) == start + 150ms);
    QVERIFY(!run.nextCableEvent(start + 151ms));

    plan.cableOutFor = -1;
    kvsim::FaultRun forGood(plan);
    forGood.start(start);
    QVERIFY(forGood.isCableOut(start + 24h));
}

void SimulatorTest::automaticsStayAtTheTarget() {
    kvsim::Parameters parameters;
    parameters.aec = true;
    parameters.aeTarget = 120;
    QCOMPARE(kvsim::automaticStep(parameters, 120.5, 5000).exposure, parameters.exposure);
    QVERIFY(kvsim::automaticStep(parameters, 60, 5000).exposure > parameters.exposure);
    QVERIFY(kvsim::automaticStep(parameters, 200, 5000).exposure < parameters.exposure);
    // The exposure ends where the rate would suffer; the gain goes on from there, if it may.
    parameters.exposure = 5000;
    QCOMPARE(kvsim::automaticStep(parameters, 60, 5000).exposure, 5000);
    QCOMPARE(kvsim::automaticStep(parameters, 60, 5000).gain, parameters.gain);
    parameters.agc = true;
    QVERIFY(kvsim::automaticStep(parameters, 60, 5000).gain > parameters.gain);
    parameters.aec = false;
    parameters.agc = false;
    QCOMPARE(kvsim::automaticStep(parameters, 60, 5000).exposure, 5000);
}

int main(int argc, char* argv[]) {
    const QByteArray name = qgetenv(kCaseVariable);
    if (!name.isEmpty()) {
        // No application object: the library must not need one.
        SimulatorCases cases;
        return QTest::qExec(&cases, {QStringLiteral("case"), QString::fromLatin1(name)});
    }
    const QCoreApplication application(argc, argv);
    SimulatorTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_simulator.moc"
