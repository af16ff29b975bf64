// SPDX-License-Identifier: Apache-2.0
#include <QProcess>
#include <QtTest>

#include "control/picturefile.h"
#include "support/somepictures.h"
#include "support/workingfolder.h"

/// What programs of others find in our PNG files.
class TestPngReaders : public QObject {
    Q_OBJECT

private slots:
    void sameAsQtsOwn_data();
    void sameAsQtsOwn();
};

namespace {

struct Result {
    int code;
    QByteArray output;
};

Result run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
        return {-1, process.errorString().toUtf8()};
    return {process.exitCode(), process.readAll()};
}

}  // namespace

void TestPngReaders::sameAsQtsOwn_data() {
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("quality");
    for (const auto format : {QImage::Format_Grayscale8, QImage::Format_RGB888, QImage::Format_RGB32,
                              QImage::Format_ARGB32, QImage::Format_ARGB32_Premultiplied}) {
        for (const QSize& size : {QSize(1, 1), QSize(333, 257), QSize(15001, 3)}) {
            for (const int quality : {75, 0, 100}) {
                QTest::addRow("format %d, %d x %d, quality %d", int(format), size.width(), size.height(),
                              quality)
                    << format << size << quality;
                if (size != QSize(333, 257))
                    break;  // one of them will do
            }
        }
    }
}

void TestPngReaders::sameAsQtsOwn() {
    QFETCH(QImage::Format, format);
    QFETCH(QSize, size);
    QFETCH(int, quality);
    const WorkingFolder folder;
    const QString ours = QStringLiteral("ours.png");
    const QString qts = QStringLiteral("qts.png");
    for (const QImage& picture : {pictures::noise(size, format), pictures::camera(size, format, 4)}) {
        QCOMPARE(writePicture(picture, ours, quality), QString());
        QVERIFY(picture.save(qts, nullptr, quality));
        // Strict, and silent when all is well.
        const Result check = run(QStringLiteral("pngcheck"), {QStringLiteral("-q"), ours});
        // But for what it says of itself where it was built with another zlib than there is.
        QByteArray said;
        for (const QByteArray& line : check.output.split('\n'))
            if (!line.startsWith("zlib warning:"))
                said += line;
        QVERIFY2(check.code == 0 && said.isEmpty(), check.output.constData());
        const auto kind = [](const QString& file) {
            const Result result =
                run(QStringLiteral("identify"),
                    {QStringLiteral("-format"),
                     QStringLiteral("%m %w %h %z %[channels] %x %y %[png:IHDR.color_type]"), file});
            return result.code == 0 ? result.output : QByteArray("failed: ") + result.output;
        };
        QVERIFY2(!kind(ours).startsWith("failed"), kind(ours).constData());
        QCOMPARE(kind(ours), kind(qts));
        const Result same = run(QStringLiteral("compare"), {QStringLiteral("-metric"), QStringLiteral("AE"),
                                                            ours, qts, QStringLiteral("null:")});
        QVERIFY2(same.code == 0 && same.output == "0", same.output.constData());
    }
}

QTEST_GUILESS_MAIN(TestPngReaders)
#include "tst_pngreaders.moc"
