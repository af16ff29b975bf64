// SPDX-License-Identifier: Apache-2.0
#include <QElapsedTimer>
#include <QHash>
#include <QtTest>
#include <cmath>
#include <limits>

#include "control/serialcommand.h"

using Kind = SerialCommand::Kind;
Q_DECLARE_METATYPE(SerialCommand::Kind)

/// What the machine controller sends, as a command.
class TestSerialCommand : public QObject {
    Q_OBJECT

private slots:
    void commands_data();
    void commands();
    void echo_data();
    void echo();
    void anyBytesAreHarmless_data();
    void anyBytesAreHarmless();
    void wholeValues();
    void documentedExamples_data();
    void documentedExamples();
};

void TestSerialCommand::commands_data() {
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<int>("camera");
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("delay");
    const auto row = [](const QByteArray& received, Kind kind, int camera = -1, double value = 0.0,
                        int delay = 0) {
        QTest::newRow(received.isEmpty() ? "empty" : received.toPercentEncoding(" ").constData())
            << received << kind << camera << value << delay;
    };
    row("TRIGGER", Kind::Trigger);
    row("Trigger\r\n", Kind::Trigger);
    row("\ttrigger", Kind::Trigger);
    row("TRIGGER 5 6 7", Kind::Trigger);
    row(" TRIGGER", Kind::None);  // the word is what stands before the first space
    row("TRIGGERED", Kind::None);
    row("SETDELAY 500", Kind::SetDelay, -1, 0, 500);
    row("setdelay 500\r\n", Kind::SetDelay, -1, 0, 500);
    row("SETDELAY 0", Kind::SetDelay, -1, 0, 0);
    row("SETDELAY -5", Kind::SetDelay, -1, 0, -5);
    row("SETDELAY x", Kind::SetDelay, -1, 0, 0);
    row("SETDELAY 99999999999", Kind::SetDelay, -1, 0, 0);
    row("SETDELAY 1.5", Kind::SetDelay, -1, 0, 0);
    row("SETDELAY ", Kind::SetDelay, -1, 0, 0);
    row("SETDELAY", Kind::None);
    row("SETDELAY\r\n", Kind::None);
    row("GAMMA 1.25", Kind::Gamma, -1, 1.25);
    row("GAMMA 0", Kind::Gamma, -1, 0.0);
    row("GAMMA", Kind::None);
    row("GAMMA ", Kind::Gamma, -1, 0.0);  // an empty field is no number, which is 0
    row("GAMMA -0.1", Kind::None);
    row("GAMMA nan", Kind::None);
    row("GAMMA 2 1.5\r\n", Kind::Gamma, 2, 1.5);
    row("CONTRAST 1 0.5", Kind::Contrast, 1, 0.5);
    row("EXPOSURE 0 1500.7", Kind::Exposure, 0, 1500.7);
    row("gain 1 20", Kind::Gain, 1, 20);
    row("GAIN 20", Kind::Gain, -1, 20);
    row("GAIN 2 -1", Kind::None);
    row("GAIN  5", Kind::Gain, 0, 5);  // two spaces: an empty field, so camera 0
    row("GAIN 1 TRIGGER", Kind::Gain, 1, 0);
    row("GAIN 1\r\nTRIGGER\r\n", Kind::Gain, -1, 0);  // no space: the second field is no number
    row("GAIN x 7", Kind::Gain, 0, 7);
    row("GAIN -1 7", Kind::Gain, -1, 7);
    row("GAIN 1 7 9", Kind::Gain, 1, 7);
    row("ADVANCEDGAIN 3", Kind::AdvancedGain, -1, 3);
    row("SAVE", Kind::Save);
    row("save 2\r\n", Kind::Save, 2);
    row("SAVE x", Kind::Save, 0);
    row("SAVE ", Kind::Save, 0);
    row("", Kind::None);
    row("FORMAT C:", Kind::None);
    // As programs in C send it: the first NUL ends the text.
    row(QByteArray("TRIGGER\0", 8), Kind::Trigger);
    row(QByteArray("TRIGGER\r\n\0junk", 14), Kind::Trigger);
    row(QByteArray("GAIN 1 5\0 7", 11), Kind::Gain, 1, 5);
    row(QByteArray("GAIN 5\0", 7), Kind::Gain, -1, 5);
    row(QByteArray("GAIN\0 5", 7), Kind::None);
    row(QByteArray("\0TRIGGER", 8), Kind::None);
    row(QByteArray("TRIG\0GER", 8), Kind::None);
}

void TestSerialCommand::commands() {
    QFETCH(QByteArray, received);
    const SerialCommand command = parseSerialCommand(received);
    QTEST(command.kind, "kind");
    QFETCH(SerialCommand::Kind, kind);
    if (kind == Kind::None)
        return;
    QTEST(command.camera, "camera");
    QTEST(command.value, "value");
    QTEST(command.delay, "delay");
}

void TestSerialCommand::echo_data() {
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QString>("echo");
    QTest::newRow("trigger") << QByteArray("trigger now\r\n") << QStringLiteral("COMMAND:TRIGGER");
    QTest::newRow("whole and untrimmed")
        << QByteArray("gain 1 20\r\n") << QStringLiteral("COMMAND:gain 1 20\r\n");
    QTest::newRow("not ASCII") << QByteArray("gain 1 20 \xe5\xb7\xa6 \xc3\xa4")
                               << QStringLiteral("COMMAND:gain 1 20 \u5de6 \u00e4");
    QTest::newRow("delay") << QByteArray("SetDelay 0") << QStringLiteral("COMMAND:SetDelay 0");
    QTest::newRow("long") << "gain 1 " + QByteArray(2000, '1')
                          << QStringLiteral("COMMAND:gain 1 ") + QString(2000, QLatin1Char('1'));
    QTest::newRow("save") << QByteArray("save") << QStringLiteral("COMMAND:save");
    QTest::newRow("up to a NUL") << QByteArray("gain 1 20\r\0x\0", 13)
                                 << QStringLiteral("COMMAND:gain 1 20\r");
}

void TestSerialCommand::echo() {
    QFETCH(QByteArray, received);
    QTEST(parseSerialCommand(received).echo, "echo");
}

void TestSerialCommand::anyBytesAreHarmless_data() {
    QTest::addColumn<QByteArray>("received");
    QTest::newRow("no UTF-8") << QByteArray("GAIN \xff\xfe\x80 \xc3");
    QTest::newRow("NUL") << QByteArray("GAIN\0 5\0", 8);
    QTest::newRow("only NUL") << QByteArray(1000, '\0');
    QTest::newRow("megabytes of spaces") << QByteArray(4 << 20, ' ');
    QTest::newRow("megabytes without") << QByteArray(4 << 20, 'G');
    QTest::newRow("megabytes of digits") << "GAIN 1 " + QByteArray(4 << 20, '9');
    QTest::newRow("line ends") << QByteArray(100000, '\n');
    QTest::newRow("infinite") << QByteArray("EXPOSURE inf");
}

void TestSerialCommand::anyBytesAreHarmless() {
    QFETCH(QByteArray, received);
    const SerialCommand command = parseSerialCommand(received);
    QVERIFY(command.echo.size() < 20000);
    QVERIFY(command.value >= 0.0 || command.kind == Kind::None);
}

void TestSerialCommand::wholeValues() {
    QCOMPARE(wholeValue(1500.7), 1500);
    QCOMPARE(wholeValue(0.99), 0);
    QCOMPARE(wholeValue(1e300), std::numeric_limits<int>::max());
    QCOMPARE(wholeValue(-1.9), -1);
    QCOMPARE(wholeValue(-1e300), -std::numeric_limits<int>::max());
    QCOMPARE(wholeValue(std::numeric_limits<double>::quiet_NaN()), 0);
    QCOMPARE(wholeValue(std::numeric_limits<double>::infinity()), std::numeric_limits<int>::max());
}

using KindNames = QHash<QString, Kind>;

void TestSerialCommand::documentedExamples_data() {
    QTest::addColumn<QString>("page");
    QTest::addColumn<KindNames>("kinds");
    QTest::addColumn<QString>("all");
    QTest::newRow("English") << QStringLiteral("en")
                             << KindNames{{QStringLiteral("nothing"), Kind::None},
                                          {QStringLiteral("snapshot"), Kind::Trigger},
                                          {QStringLiteral("delay"), Kind::SetDelay},
                                          {QStringLiteral("gamma"), Kind::Gamma},
                                          {QStringLiteral("contrast"), Kind::Contrast},
                                          {QStringLiteral("exposure"), Kind::Exposure},
                                          {QStringLiteral("gain"), Kind::Gain},
                                          {QStringLiteral("advanced gain"), Kind::AdvancedGain},
                                          {QStringLiteral("parameters saved"), Kind::Save}}
                             << QStringLiteral("all");
    QTest::newRow("Chinese") << QStringLiteral("zh")
                             << KindNames{{QStringLiteral("无"), Kind::None},
                                          {QStringLiteral("取图"), Kind::Trigger},
                                          {QStringLiteral("延时"), Kind::SetDelay},
                                          {QStringLiteral("伽马"), Kind::Gamma},
                                          {QStringLiteral("对比度"), Kind::Contrast},
                                          {QStringLiteral("曝光"), Kind::Exposure},
                                          {QStringLiteral("增益"), Kind::Gain},
                                          {QStringLiteral("高级增益"), Kind::AdvancedGain},
                                          {QStringLiteral("保存参数"), Kind::Save}}
                             << QStringLiteral("全部");
}

/// The table of examples in the guide is what the parser does, in both languages.
void TestSerialCommand::documentedExamples() {
    QFETCH(QString, page);
    QFETCH(KindNames, kinds);
    QFETCH(QString, all);
    QFile document(QStringLiteral(GUIDE "/%1/serial.md").arg(page));
    QVERIFY(document.open(QIODevice::ReadOnly));
    int found = 0;
    for (const QString& line : QString::fromUtf8(document.readAll()).split(QLatin1Char('\n'))) {
        // | `GAIN 1 20` | Gain | 1 | 20 | ... |
        const QStringList cells = line.split(QStringLiteral(" | "));
        if (!line.startsWith(QStringLiteral("| `")) || cells.size() < 5)
            continue;
        ++found;
        const QString sent = cells[0].mid(3).chopped(1);
        const SerialCommand command = parseSerialCommand(sent.toUtf8());
        QVERIFY2(kinds.contains(cells[1]), qPrintable(cells[1]));
        const Kind kind = kinds.value(cells[1]);
        QVERIFY2(command.kind == kind, qPrintable(line));
        if (kind == Kind::None)
            continue;
        const QString camera = command.camera < 0 ? all : QString::number(command.camera);
        if (kind != Kind::Trigger && kind != Kind::SetDelay)
            QVERIFY2(cells[2] == camera, qPrintable(line));
        if (kind == Kind::SetDelay)
            QVERIFY2(cells[3] == QString::number(command.delay), qPrintable(line));
        else if (kind != Kind::Trigger && kind != Kind::Save)
            QVERIFY2(cells[3].toDouble() == command.value, qPrintable(line));
    }
    QVERIFY(found >= 20);
}

QTEST_GUILESS_MAIN(TestSerialCommand)
#include "tst_serialcommand.moc"
