// SPDX-License-Identifier: Apache-2.0
#include <QFontDatabase>
#include <QGuiApplication>
#include <QImage>
#include <QtTest>

#include "measure/captionplates.h"

namespace {

const QStringList kTexts{
    QStringLiteral("1.00"), QStringLiteral("L:123.456 mm"),        QStringLiteral("WWWWWWWW"),
    QStringLiteral("iiii"), QString::fromUtf8("A:12.5 mm² 90.0°"), QString::fromUtf8("长度: 12.5"),
    QStringLiteral("-")};

QFont letters(int pointSize, bool isBold = false) {
    return {QStringLiteral("DejaVu Sans"), pointSize, isBold ? QFont::Bold : QFont::Normal};
}

/// A device of so many dots per inch.
QImage deviceOf(int dotsPerInch) {
    QImage device(10, 10, QImage::Format_RGB32);
    device.setDotsPerMeterX(qRound(dotsPerInch / 0.0254));
    device.setDotsPerMeterY(qRound(dotsPerInch / 0.0254));
    return device;
}

QSizeF sizeOf(const QString& text, const QFont& font, const QPaintDevice& device) {
    PlateSizes sizes;
    sizes.setLetters(font, device);
    return sizes.of(text);
}

}  // namespace

/// How large the plates under captions are.
class TestPlateSizes : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void textHasRoom();
    void mostIsNeverTooSmall_data();
    void mostIsNeverTooSmall();
    void otherLettersAreMeasuredAnew();
    void otherDevicesAreMeasuredAnew();
    void theSameAgain();
    void manyTexts();
};

void TestPlateSizes::initTestCase() {
    QVERIFY(QFontDatabase().families().contains(QStringLiteral("DejaVu Sans")));
}

/// All plates are as high, and as wide as the text with as much beside it.
void TestPlateSizes::textHasRoom() {
    const QImage device = deviceOf(96);
    const QFontMetrics metrics(letters(9), &device);
    const QSizeF first = sizeOf(kTexts.first(), letters(9), device);
    const double beside = first.width() - metrics.size(Qt::TextSingleLine, kTexts.first()).width();
    QVERIFY(beside > 0);
    QVERIFY(first.height() >= metrics.height());
    for (const QString& text : kTexts) {
        const QSizeF size = sizeOf(text, letters(9), device);
        QCOMPARE(size.height(), first.height());
        QCOMPARE(size.width(), metrics.size(Qt::TextSingleLine, text).width() + beside);
    }
}

void TestPlateSizes::mostIsNeverTooSmall_data() {
    QTest::addColumn<QFont>("font");
    QTest::addColumn<int>("dotsPerInch");
    QTest::newRow("small") << letters(7) << 96;
    QTest::newRow("usual") << letters(9) << 96;
    QTest::newRow("bold") << letters(9, true) << 96;
    QTest::newRow("large, fine screen") << letters(24) << 192;
}

void TestPlateSizes::mostIsNeverTooSmall() {
    QFETCH(QFont, font);
    QFETCH(int, dotsPerInch);
    PlateSizes sizes;
    sizes.setLetters(font, deviceOf(dotsPerInch));
    for (const QString& text : kTexts) {
        const QSizeF most = sizes.mostOf(text);
        const QSizeF size = sizes.of(text);
        QVERIFY2(most.width() >= size.width(), qPrintable(text));
        QVERIFY(most.height() >= size.height());
    }
}

void TestPlateSizes::otherLettersAreMeasuredAnew() {
    const QImage device = deviceOf(96);
    PlateSizes sizes;
    sizes.setLetters(letters(9), device);
    const QSizeF small = sizes.of(kTexts[1]);
    sizes.setLetters(letters(18), device);
    const QSizeF large = sizes.of(kTexts[1]);
    QVERIFY(large.width() > small.width() && large.height() > small.height());
    QCOMPARE(large, sizeOf(kTexts[1], letters(18), device));
    sizes.setLetters(letters(9), device);
    QCOMPARE(sizes.of(kTexts[1]), small);
}

void TestPlateSizes::otherDevicesAreMeasuredAnew() {
    PlateSizes sizes;
    sizes.setLetters(letters(9), deviceOf(96));
    const QSizeF coarse = sizes.of(kTexts[1]);
    sizes.setLetters(letters(9), deviceOf(192));
    const QSizeF fine = sizes.of(kTexts[1]);
    QVERIFY(fine.width() > coarse.width() && fine.height() > coarse.height());
    QCOMPARE(fine, sizeOf(kTexts[1], letters(9), deviceOf(192)));
}

void TestPlateSizes::theSameAgain() {
    PlateSizes sizes;
    for (int i = 0; i < 3; ++i) {
        sizes.setLetters(letters(9), deviceOf(96));
        for (const QString& text : kTexts)
            QCOMPARE(sizes.of(text), sizeOf(text, letters(9), deviceOf(96)));
    }
}

/// A scene of changing measures asks for ever new texts; those of before are forgotten, not mixed up.
void TestPlateSizes::manyTexts() {
    const QImage device = deviceOf(96);
    PlateSizes sizes;
    sizes.setLetters(letters(9), device);
    for (int i = 0; i < 20000; ++i)
        sizes.of(QString::number(i));
    for (const QString& text : {QStringLiteral("0"), QStringLiteral("111"), QStringLiteral("19999")})
        QCOMPARE(sizes.of(text), sizeOf(text, letters(9), device));
}

QTEST_MAIN(TestPlateSizes)
#include "tst_platesizes.moc"
