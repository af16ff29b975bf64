// SPDX-License-Identifier: Apache-2.0
#include <libdeflate.h>

#include <QBuffer>
#include <QColorSpace>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QtEndian>
#include <QtTest>
#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>

#include "control/picturefile.h"
#include "control/pngfile.h"
#include "control/scenepicture.h"
#include "support/somepictures.h"
#include "support/workingfolder.h"

/// PNG files: what is in them is what Qt's own writer would have put there.
class TestPngFile : public QObject {
    Q_OBJECT

private slots:
    void readsAsQtsOwn_data();
    void readsAsQtsOwn();
    void everyPremultipliedValue();
    void rowsApartInMemory();
    void extrasAreKept();
    void quality_data();
    void quality();
    void qualityIsOrdered();
    void noLargerThanQtsOwn_data();
    void noLargerThanQtsOwn();
    void chunks();
    void noPicture();
    void deviceThatFails();
    void noMemory();
    void suffixInAnyCase();
    void sceneWithHoles();
};

namespace {

QByteArray written(const QImage& picture, int quality = 75) {
    QBuffer file;
    file.open(QIODevice::WriteOnly);
    const QString problem = writePng(picture, quality, file);
    if (!problem.isEmpty())
        qWarning("%s", qUtf8Printable(problem));
    return problem.isEmpty() ? file.data() : QByteArray();
}

QByteArray writtenByQt(const QImage& picture, int quality = 75) {
    QBuffer file;
    file.open(QIODevice::WriteOnly);
    return picture.save(&file, "PNG", quality) ? file.data() : QByteArray();
}

struct Chunk {
    QByteArray type;
    QByteArray data;
};

/// The parts of a file whose check sums are right, up to the first that is not.
QVector<Chunk> chunksOf(const QByteArray& file) {
    QVector<Chunk> chunks;
    const auto number = [&](int at) { return qFromBigEndian<quint32>(file.constData() + at); };
    for (int at = 8; at + 12 <= file.size();) {
        const int size = int(number(at));
        if (size < 0 || at + 12 + size > file.size())
            break;
        if (libdeflate_crc32(0, file.constData() + at + 4, size_t(size) + 4) != number(at + 8 + size))
            break;
        chunks.append({file.mid(at + 4, 4), file.mid(at + 8, size)});
        at += 12 + size;
    }
    return chunks;
}

/// Written here, not by Qt, whose parts are smaller.
bool isOurs(const QByteArray& file) {
    const QVector<Chunk> chunks = chunksOf(file);
    return std::any_of(chunks.begin(), chunks.end(), [](const Chunk& chunk) {
        return chunk.type == "IDAT" && (chunk.data.size() > 8192 || chunk.data.at(1) == '\x01');
    });
}

QString difference(const QByteArray& file, const QByteArray& qtsFile) {
    QImage image;
    QImage wanted;
    if (!image.loadFromData(file, "PNG") || !wanted.loadFromData(qtsFile, "PNG"))
        return QStringLiteral("not read");
    if (chunksOf(file).value(0).data != chunksOf(qtsFile).value(0).data)
        return QStringLiteral("another header");
    if (image.format() != wanted.format() || image.size() != wanted.size())
        return QStringLiteral("another kind of picture");
    if (image.dotsPerMeterX() != wanted.dotsPerMeterX() || image.dotsPerMeterY() != wanted.dotsPerMeterY())
        return QStringLiteral("another resolution");
    if (image.text() != wanted.text() || image.offset() != wanted.offset() ||
        image.colorSpace() != wanted.colorSpace() || image.colorTable() != wanted.colorTable())
        return QStringLiteral("other extras");
    if (image != wanted)
        return QStringLiteral("other pixels");
    // Every bit of them; below a byte a pixel there are bits of none in a row's end.
    const int bytes = image.width() * image.depth() / 8;
    for (int y = 0; y < image.height(); ++y) {
        if (std::memcmp(image.constScanLine(y), wanted.constScanLine(y), size_t(bytes)) != 0)
            return QStringLiteral("another row %1").arg(y);
    }
    return {};
}

/// Takes so many bytes.
class SmallDevice : public QIODevice {
public:
    explicit SmallDevice(qint64 bytes) : room(bytes) { open(WriteOnly | Unbuffered); }

protected:
    qint64 readData(char* /*data*/, qint64 /*size*/) override { return -1; }
    qint64 writeData(const char* /*data*/, qint64 size) override {
        const qint64 taken = std::min(room, size);
        room -= taken;
        if (taken < size)
            setErrorString(QStringLiteral("Full"));
        return taken;
    }

private:
    qint64 room;
};

/// While it lives, the compressor finds no memory.
class NoMemory {
public:
    NoMemory() {
        libdeflate_set_memory_allocator([](size_t) -> void* { return nullptr; }, [](void*) {});
    }
    ~NoMemory() { libdeflate_set_memory_allocator(std::malloc, std::free); }
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;
};

}  // namespace

void TestPngFile::readsAsQtsOwn_data() {
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<QSize>("size");
    const QSize sizes[]{{1, 1},  {2, 1},  {1, 2},  {3, 5},  {4, 4},   {5, 3},    {6, 2},     {7, 7},
                        {15, 2}, {16, 3}, {17, 4}, {21, 9}, {1, 700}, {333, 57}, {30001, 2}, {2, 5003}};
    // None is 0, and as many are there in any Qt 5.15.
    for (int format = 1; format < QImage::NImageFormats; ++format) {
        for (const QSize& size : sizes)
            QTest::addRow("format %d, %d x %d", format, size.width(), size.height())
                << QImage::Format(format) << size;
    }
}

void TestPngFile::readsAsQtsOwn() {
    QFETCH(QImage::Format, format);
    QFETCH(QSize, size);
    for (const QImage& picture : {pictures::noise(size, format), pictures::camera(size, format, 9)}) {
        QCOMPARE(picture.format(), format);
        QCOMPARE(difference(written(picture), writtenByQt(picture)), QString());
    }
}

void TestPngFile::everyPremultipliedValue() {
    QImage picture(256, 256, QImage::Format_ARGB32_Premultiplied);
    for (int alpha = 0; alpha < 256; ++alpha) {
        auto* row = reinterpret_cast<QRgb*>(picture.scanLine(alpha));
        for (int x = 0; x < 256; ++x)
            row[x] = qRgba(std::min(x, alpha), alpha - std::min(x, alpha), std::min(255 - x, alpha), alpha);
    }
    const QByteArray file = written(picture);
    QVERIFY(isOurs(file));
    QCOMPARE(difference(file, writtenByQt(picture)), QString());
    // Opaque as a whole, it is still a picture that could be transparent.
    picture.fill(qRgb(1, 2, 3));
    QCOMPARE(difference(written(picture), writtenByQt(picture)), QString());
    QVERIFY(QImage::fromData(written(picture)).hasAlphaChannel());
}

/// In memory that ends with the last pixel: the sanitizers watch it.
void TestPngFile::rowsApartInMemory() {
    for (const auto& [format, depth] :
         {std::pair(QImage::Format_RGB888, 3), std::pair(QImage::Format_Grayscale8, 1),
          std::pair(QImage::Format_RGB32, 4), std::pair(QImage::Format_ARGB32_Premultiplied, 4)}) {
        const QImage same = pictures::noise({37, 11}, format);
        const int bytesPerLine = 52 * depth;
        const size_t bytes = size_t(bytesPerLine * 10 + 37 * depth);
        const auto memory = std::make_unique<uchar[]>(bytes);
        std::fill_n(memory.get(), bytes, uchar(0xa5));
        for (int y = 0; y < 11; ++y)
            std::copy_n(same.constScanLine(y), 37 * depth, memory.get() + y * bytesPerLine);
        const QImage apart(std::as_const(memory).get(), 37, 11, bytesPerLine, format);
        QCOMPARE(difference(written(apart), writtenByQt(same)), QString());
    }
}

void TestPngFile::extrasAreKept() {
    const QImage plain = pictures::camera({80, 60}, QImage::Format_RGB32, 3);
    QVERIFY(isOurs(written(plain)));
    const auto keeps = [&](const std::function<void(QImage&)>& change) {
        QImage picture = plain;
        change(picture);
        return difference(written(picture), writtenByQt(picture));
    };
    QCOMPARE(keeps([](QImage& picture) {
                 picture.setDotsPerMeterX(1234);
                 picture.setDotsPerMeterY(98765);
             }),
             QString());
    QCOMPARE(keeps([](QImage& picture) {
                 picture.setDotsPerMeterX(4321);
                 picture.setDotsPerMeterY(0);
             }),
             QString());
    QCOMPARE(keeps([](QImage& picture) {
                 picture.setDotsPerMeterX(0);
                 picture.setDotsPerMeterY(0);
             }),
             QString());
    QCOMPARE(keeps([](QImage& picture) { picture.setText(QStringLiteral("Author"), QStringLiteral("Me")); }),
             QString());
    QCOMPARE(keeps([](QImage& picture) { picture.setOffset({3, -4}); }), QString());
    QCOMPARE(keeps([](QImage& picture) { picture.setColorSpace(QColorSpace::AdobeRgb); }), QString());
    QCOMPARE(keeps([](QImage& picture) { picture.setDevicePixelRatio(2); }), QString());
}

void TestPngFile::quality_data() {
    QTest::addColumn<int>("quality");
    for (const int quality : {-1000, -1, 0, 1, 9, 10, 25, 37, 50, 60, 75, 79, 80, 90, 99, 100, 101, 1000})
        QTest::addRow("%d", quality) << quality;
}

void TestPngFile::quality() {
    QFETCH(int, quality);
    for (const auto format : {QImage::Format_Grayscale8, QImage::Format_ARGB32_Premultiplied}) {
        const QImage picture = pictures::camera({300, 200}, format, 5);
        const QByteArray file = written(picture, quality);
        QVERIFY(isOurs(file));
        QCOMPARE(difference(file, writtenByQt(picture)), QString());
    }
}

void TestPngFile::qualityIsOrdered() {
    const QImage picture = pictures::camera({400, 300}, QImage::Format_RGB32, 4);
    const auto size = [&](int quality) { return written(picture, quality).size(); };
    QVERIFY(size(0) < size(45));
    QVERIFY(size(45) < size(75));
    QVERIFY(size(75) < size(100));
    QVERIFY(size(100) >= 400 * 300 * 3);  // not compressed
    QCOMPARE(written(picture, 101), written(picture, 100));
    QCOMPARE(written(picture, 1000), written(picture, 100));
    // None asked for: neither of the ends.
    QVERIFY(size(0) < size(-1) && size(-1) < size(75));
    QCOMPARE(written(picture, -7), written(picture, -1));
}

void TestPngFile::noLargerThanQtsOwn_data() {
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<int>("noiseLevels");
    for (const auto format : {QImage::Format_ARGB32_Premultiplied, QImage::Format_RGB32,
                              QImage::Format_RGB888, QImage::Format_Grayscale8}) {
        for (const int levels : {0, 1, 3, 10, 30})
            QTest::addRow("format %d, noise of %d levels", int(format), levels) << format << levels;
    }
}

void TestPngFile::noLargerThanQtsOwn() {
    QFETCH(QImage::Format, format);
    QFETCH(int, noiseLevels);
    const QImage picture = pictures::camera({640, 480}, format, noiseLevels);
    const int size = written(picture).size();
    const int qtsSize = writtenByQt(picture).size();
    QVERIFY2(size <= qtsSize, qPrintable(QStringLiteral("%1 over %2 bytes").arg(size).arg(qtsSize)));
}

/// Readers may have limits.
void TestPngFile::chunks() {
    const QByteArray file = written(pictures::noise({700, 500}, QImage::Format_ARGB32));
    QCOMPARE(file.left(8), QByteArray("\x89PNG\r\n\x1a\n"));
    QVector<Chunk> chunks = chunksOf(file);
    QCOMPARE(chunks.takeFirst().type, QByteArray("IHDR"));
    QCOMPARE(chunks.takeFirst().type, QByteArray("pHYs"));
    const Chunk end = chunks.takeLast();
    QCOMPARE(end.type, QByteArray("IEND"));
    QCOMPARE(end.data.size(), 0);
    QVERIFY(chunks.size() > 3);
    for (const Chunk& chunk : qAsConst(chunks)) {
        QCOMPARE(chunk.type, QByteArray("IDAT"));
        QVERIFY(chunk.data.size() > 0 && chunk.data.size() <= 256 * 1024);
    }
}

void TestPngFile::noPicture() {
    QBuffer file;
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(!writePng(QImage(), 75, file).isEmpty());
    QCOMPARE(file.size(), 0);
}

void TestPngFile::deviceThatFails() {
    const QImage picture = pictures::noise({50, 40}, QImage::Format_RGB32);
    const int size = written(picture).size();
    for (const int room : {0, 7, 8, 20, 40, 80, 1000, size - 12, size - 1}) {
        SmallDevice device(room);
        QCOMPARE(writePng(picture, 75, device), QStringLiteral("Full"));
    }
    SmallDevice device(size);
    QCOMPARE(writePng(picture, 75, device), QString());
}

/// Slower, but written.
void TestPngFile::noMemory() {
    const QImage picture = pictures::noise({50, 40}, QImage::Format_ARGB32_Premultiplied);
    const QByteArray qtsFile = writtenByQt(picture);
    const NoMemory none;
    QCOMPARE(written(picture), qtsFile);
}

void TestPngFile::suffixInAnyCase() {
    const WorkingFolder folder;
    const QImage picture = pictures::camera({100, 80}, QImage::Format_RGB32, 3);
    for (const char* name : {"a.png", "b.PNG", "c.d.Png"}) {
        QCOMPARE(writePicture(picture, QString::fromLatin1(name), 60), QString());
        QCOMPARE(WorkingFolder::read(QString::fromLatin1(name)), written(picture, 60));
    }
}

void TestPngFile::sceneWithHoles() {
    const WorkingFolder folder;
    QGraphicsScene scene(0, 0, 210, 160);
    scene.addPixmap(QPixmap::fromImage(pictures::camera({100, 80}, QImage::Format_RGB32, 3)))->setPos(7, 9);
    scene.addEllipse(60, 50, 120, 90, QPen(QColor(200, 40, 10, 120), 5), QColor(20, 240, 10, 60));
    const QImage ready = scenePicture(&scene).image;
    QCOMPARE(saveScene(&scene, QStringLiteral("./a.png"), 75), QString());
    const QByteArray file = WorkingFolder::read(QStringLiteral("a.png"));
    QVERIFY(isOurs(file));
    QCOMPARE(difference(file, writtenByQt(ready)), QString());
    const QImage read = QImage::fromData(file);
    QCOMPARE(read.pixel(0, 0), 0U);
    QVERIFY(qAlpha(read.pixel(165, 95)) > 0 && qAlpha(read.pixel(165, 95)) < 255);
}

QTEST_MAIN(TestPngFile)
#include "tst_pngfile.moc"
