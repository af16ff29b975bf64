// SPDX-License-Identifier: Apache-2.0
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QHash>
#include <QPainter>
#include <QtTest>
#include <functional>
#include <new>
#include <opencv2/core.hpp>
#include <thread>

#include "control/encoderpicture.h"
#include "control/picturefile.h"
#include "control/scenepicture.h"
#include "control/snapshotname.h"
#include "platform/files.h"
#include "support/leaksofothers.h"
#include "support/oddscenes.h"
#include "support/workingfolder.h"

#ifdef Q_OS_WIN
#include <qt_windows.h>
#endif

/// Names and pixels of saved pictures.
class TestSnapshot : public QObject {
    Q_OBJECT

private slots:
    void nameHoldsTheTime();
    void suffixFollowsTheType();
    void wholeNames();
    void sceneIsRendered();
    void formatsHaveTheSameColours_data();
    void formatsHaveTheSameColours();
    void anyPlaceHasTheSameColours();
    void partOfAPixelHasTheSameColours_data();
    void partOfAPixelHasTheSameColours();
    void fileIsThatOfThePicture_data();
    void fileIsThatOfThePicture();
    void fileOfOneTile_data();
    void fileOfOneTile();
    void savingLeavesTheScene();
    void whatItemsThrowGoesNoFurther_data();
    void whatItemsThrowGoesNoFurther();
    void problemsAreTold();
    void newFilesAreOpenToOthers();
    void linkIsWrittenThrough();
    void nowhereIsNoPlace();
    void emptySceneIsNoPicture();
    void pictureIsWritten();
    void unknownFormatFails();
    void failureLeavesTheOldFile();
    void longPath();
    void heldFileIsTriedAgain_data();
    void heldFileIsTriedAgain();
};

void TestSnapshot::nameHoldsTheTime() {
    const QDateTime time(QDate(2026, 3, 4), QTime(15, 6, 7, 8));
    QCOMPARE(snapshotName(time), QStringLiteral("snapshot-20260304150607008"));
    QVERIFY(isSnapshotName(snapshotName(time)));
    for (const char* name : {"", "snapshot-", "snapshot-2026030415060700", "snapshot-202603041506070081",
                             "a/snapshot-20260304150607008", "snapshot-2026030415060700x", "4006381333931"})
        QVERIFY2(!isSnapshotName(QLatin1String(name)), name);
}

void TestSnapshot::suffixFollowsTheType() {
    QCOMPARE(snapshotSuffix(0), QStringLiteral(".bmp"));
    QCOMPARE(snapshotSuffix(1), QStringLiteral(".jpg"));
    QCOMPARE(snapshotSuffix(2), QStringLiteral(".png"));
    QCOMPARE(snapshotSuffix(3), QString());
    QCOMPARE(snapshotSuffix(-1), QString());
}

void TestSnapshot::wholeNames() {
    const QString name = QStringLiteral("a/b.c ");
    QCOMPARE(snapshotFileName(QStringLiteral("."), QLatin1Char('/'), name, 1),
             QStringLiteral("./a/b.c .jpg"));
    QCOMPARE(snapshotFileName(QStringLiteral("D:\\lot"), QLatin1Char('\\'), name, 7),
             QStringLiteral("D:\\lot\\a/b.c "));
    QCOMPARE(snapshotFileName(QStringLiteral(" "), QLatin1Char('/'), QString(), 0), QStringLiteral(" /.bmp"));
    // Nothing in the root of the drive.
    QCOMPARE(snapshotFileName(QString(), QLatin1Char('/'), name, 1), QString());
    QCOMPARE(snapshotFileName(QStringLiteral(""), QLatin1Char('/'), name, 1), QString());
}

void TestSnapshot::sceneIsRendered() {
    QGraphicsScene scene;
    QPixmap pixmap(10, 8);
    pixmap.fill(Qt::red);
    scene.addPixmap(pixmap)->setPos(5, 2);
    scene.setSceneRect(0, 0, 20.9, 12.9);
    const QImage image = scenePicture(&scene).image;
    QCOMPARE(image.size(), QSize(20, 12));
    QCOMPARE(image.pixelColor(8, 5), QColor(Qt::red));
    QCOMPARE(image.pixelColor(1, 1).alpha(), 0);
}

void TestSnapshot::formatsHaveTheSameColours_data() {
    addOddities();
}

void TestSnapshot::formatsHaveTheSameColours() {
    QFETCH(int, oddity);
    QFETCH(QImage::Format, format);
    QFETCH(bool, isConverted);
    QFETCH(bool, isCovered);
    const auto scene = sceneWith(Oddity(oddity), {format, false});
    const QImage plain = scenePicture(sceneWith(Oddity(oddity), {format, true}).get()).image;
    QCOMPARE(plain.format(), QImage::Format_ARGB32_Premultiplied);
    QCOMPARE(plain.size(), QSize(80, 30));

    QCOMPARE(scenePicture(scene.get()).image, plain);
    QCOMPARE(encoderPicture(scene.get(), QImage::Format_ARGB32_Premultiplied).image, plain);

    const QImage colours = encoderPicture(scene.get(), QImage::Format_RGB888).image;
    QCOMPARE(colours.format(), isConverted ? QImage::Format_RGB888 : QImage::Format_ARGB32_Premultiplied);
    const QImage opaque = encoderPicture(scene.get(), QImage::Format_RGB32).image;
    QCOMPARE(opaque.format(), isCovered ? QImage::Format_RGB32 : QImage::Format_ARGB32_Premultiplied);

    const auto bare = [](QImage image) {
        if (image.format() == QImage::Format_ARGB32_Premultiplied)
            image.reinterpretAsFormat(QImage::Format_RGB32);
        return image.convertToFormat(QImage::Format_RGB888);
    };
    QCOMPARE(bare(colours), bare(plain));
    QCOMPARE(bare(opaque), bare(plain));
}

void TestSnapshot::fileIsThatOfThePicture_data() {
    addOddities();
}

/// Wherever tiles lie and however large the scene is, Qt paints what a camera sends as it paints its own.
void TestSnapshot::anyPlaceHasTheSameColours() {
    cv::RNG random(7);
    for (int i = 0; i < 400; ++i) {
        const auto format = i % 2 == 0 ? QImage::Format_Grayscale8 : QImage::Format_RGB888;
        const int seed = random.uniform(0, 200);
        const QSize size(random.uniform(1, 60), random.uniform(1, 40));
        const double part = i % 3 == 0 ? random.uniform(0.0, 1.0) : 0.0;
        const QPointF place(random.uniform(-10.0, 50.0), random.uniform(-10.0, 30.0));
        const double scale = i % 5 == 0 ? random.uniform(0.3, 2.5) : 1;
        const double turn = i % 7 == 0 ? random.uniform(0.0, 90.0) : 0;
        const auto picture = [&](bool areConverted, QImage::Format preferred) {
            QGraphicsScene scene(0, 0, 80 + part, 50 + part / 2);
            auto* tile = scene.addPixmap(pattern(seed, {format, areConverted}, size));
            tile->setPos(place);
            tile->setScale(scale);
            tile->setRotation(turn);
            return encoderPicture(&scene, preferred).image;
        };
        for (const auto preferred : {QImage::Format_ARGB32_Premultiplied, QImage::Format_RGB888})
            QCOMPARE(picture(false, preferred), picture(true, preferred));
    }
}

void TestSnapshot::partOfAPixelHasTheSameColours_data() {
    QTest::addColumn<QImage::Format>("format");
    QTest::newRow("grey") << QImage::Format_Grayscale8;
    QTest::newRow("colour") << QImage::Format_RGB888;
}

/// Then the whole scene is painted a little smaller. Only across many pixels that makes a difference, and
/// only for some parts.
void TestSnapshot::partOfAPixelHasTheSameColours() {
    QFETCH(QImage::Format, format);
    for (int i = 1; i < 20; ++i) {
        const auto picture = [&](bool isConverted) {
            QGraphicsScene scene(0, 0, 400 + i * 0.05, 252 + i * 0.025);
            scene.addPixmap(pattern(3, {format, isConverted}, {400, 252}));
            return scenePicture(&scene).image;
        };
        QCOMPARE(picture(false), picture(true));
    }
}

/// What is saved is byte for byte what the encoder makes of the plain picture; for PNG that is ours, whose
/// file reads as Qt's own.
void TestSnapshot::fileIsThatOfThePicture() {
    QFETCH(int, oddity);
    QFETCH(QImage::Format, format);
    const WorkingFolder folder;
    const auto scene = sceneWith(Oddity(oddity), {format, false});
    const QImage plain = scenePicture(sceneWith(Oddity(oddity), {format, true}).get()).image;
    for (const QString& suffix : {QStringLiteral(".jpg"), QStringLiteral(".JPEG"), QStringLiteral(".bmp")}) {
        QCOMPARE(saveScene(scene.get(), QStringLiteral("./a") + suffix, 75), QString());
        QVERIFY(plain.save(QStringLiteral("b") + suffix, nullptr, 75));
        QCOMPARE(WorkingFolder::read(QStringLiteral("a") + suffix),
                 WorkingFolder::read(QStringLiteral("b") + suffix));
    }
    QCOMPARE(saveScene(scene.get(), QStringLiteral("./a.png"), 75), QString());
    QCOMPARE(writePicture(plain, QStringLiteral("./b.png"), 75), QString());
    QCOMPARE(WorkingFolder::read(QStringLiteral("a.png")), WorkingFolder::read(QStringLiteral("b.png")));
    QVERIFY(plain.save(QStringLiteral("c.png"), nullptr, 75));
    const QImage saved(QStringLiteral("a.png"));
    const QImage qts(QStringLiteral("c.png"));
    QCOMPARE(saved.format(), qts.format());
    QCOMPARE(saved, qts);
}

/// A tile's own file is in colours, whatever its camera sends.
void TestSnapshot::fileOfOneTile_data() {
    QTest::addColumn<QImage::Format>("format");
    QTest::newRow("grey") << QImage::Format_Grayscale8;
    QTest::newRow("colour") << QImage::Format_RGB888;
    QTest::newRow("any") << QImage::Format_RGB32;
}

void TestSnapshot::fileOfOneTile() {
    QFETCH(QImage::Format, format);
    const WorkingFolder folder;
    for (const QSize size : {QSize(40, 30), QSize(41, 3), QSize(1, 1)}) {
        const QGraphicsPixmapItem tile(pattern(5, {format, false}, size));
        const QGraphicsPixmapItem converted(pattern(5, {format, true}, size));
        for (const char* suffix : {"jpg", "bmp", "png"}) {
            QCOMPARE(writePicture(tilePicture(tile), QStringLiteral("./a.") + QLatin1String(suffix), 75),
                     QString());
            QCOMPARE(writePicture(converted.pixmap().toImage(),
                                  QStringLiteral("./b.") + QLatin1String(suffix), 75),
                     QString());
            QCOMPARE(WorkingFolder::read(QStringLiteral("a.") + QLatin1String(suffix)),
                     WorkingFolder::read(QStringLiteral("b.") + QLatin1String(suffix)));
        }
    }
}

/// Tiles take part in the next picture, and in the view, as before.
void TestSnapshot::savingLeavesTheScene() {
    for (const auto oddity : {Oddity::None, Oddity::Scaled}) {
        const auto scene = sceneWith(oddity, {QImage::Format_Grayscale8, false});
        QHash<QGraphicsItem*, int> flags;
        QHash<QGraphicsItem*, qint64> pictures;
        const auto items = scene->items();
        for (QGraphicsItem* item : items) {
            flags.insert(item, int(item->flags()));
            if (auto* tile = qgraphicsitem_cast<QGraphicsPixmapItem*>(item))
                pictures.insert(item, tile->pixmap().cacheKey());
        }
        const QImage before = scenePicture(scene.get()).image;
        encoderPicture(scene.get(), QImage::Format_RGB888).image;
        QCOMPARE(scenePicture(scene.get()).image, before);
        for (QGraphicsItem* item : items) {
            QCOMPARE(int(item->flags()), flags.value(item));
            if (auto* tile = qgraphicsitem_cast<QGraphicsPixmapItem*>(item))
                QCOMPARE(tile->pixmap().cacheKey(), pictures.value(item));
        }
    }
}

namespace {

/// Cannot be painted.
class ThrowingItem : public QGraphicsRectItem {
public:
    ThrowingItem(const QRectF& rect, std::function<void()> thrower)
        : QGraphicsRectItem(rect), throwing(std::move(thrower)) {}
    void paint(QPainter*, const QStyleOptionGraphicsItem*, QWidget*) override { throwing(); }

private:
    std::function<void()> throwing;
};

}  // namespace

Q_DECLARE_METATYPE(std::function<void()>)

void TestSnapshot::whatItemsThrowGoesNoFurther_data() {
    QTest::addColumn<std::function<void()>>("thrower");
    QTest::addColumn<QString>("problem");
    QTest::newRow("no memory") << std::function<void()>([] { throw std::bad_alloc(); })
                               << QStringLiteral("No memory");
    QTest::newRow("OpenCV") << std::function<void()>([] { cv::Mat(1, 1, CV_8U).reshape(3); })
                            << QStringLiteral("OpenCV.+");
    QTest::newRow("anything") << std::function<void()>([] { throw 7; }) << QStringLiteral("Unknown error");
}

/// It is a picture that was not written, and the tiles are to be painted again. (A scene whose rendering was
/// cut short is nothing that Qt promises to paint again itself.)
void TestSnapshot::whatItemsThrowGoesNoFurther() {
    QFETCH(std::function<void()>, thrower);
    QFETCH(QString, problem);
    const WorkingFolder folder;
    const auto scene = sceneWith(Oddity::Scaled, {QImage::Format_Grayscale8, false});
    const auto tiles = scene->items();
    const auto pictures = [&] {
        QVector<qint64> keys;
        for (const QGraphicsItem* item : tiles) {
            if (const auto* tile = qgraphicsitem_cast<const QGraphicsPixmapItem*>(item))
                keys.append(tile->pixmap().cacheKey());
        }
        return keys;
    };
    const auto before = pictures();
    ThrowingItem item(QRectF(20, 10, 20, 20), thrower);
    scene->addItem(&item);
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("a\\.jpg was not written: ") + problem));
    QString told;
    {
        const LeaksOfOthers ofTheScene;
        told = saveScene(scene.get(), QStringLiteral("./a.jpg"), 75);
    }
    QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(problem)).match(told).hasMatch(),
             qPrintable(told));
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList());
    for (const QGraphicsItem* tile : tiles)
        QCOMPARE(int(tile->flags()), 0);
    QCOMPARE(pictures(), before);
}

void TestSnapshot::problemsAreTold() {
    const WorkingFolder folder;
    QGraphicsScene scene;
    const auto problem = [&](const QRectF& rect, const QString& fileName) {
        scene.setSceneRect(rect);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written: .+")));
        return saveScene(&scene, fileName, 75);
    };
    QCOMPARE(problem({0, 0, 0.5, 0.5}, QStringLiteral("./a.png")), QStringLiteral("The scene is empty"));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^A scene of .* is too large")));
    QCOMPARE(problem({0, 0, 1e5, 1e5}, QStringLiteral("./a.png")),
             QStringLiteral("A scene of 100000 x 100000 px is too large to be saved"));
    QFile gone(QStringLiteral("gone/b.png"));
    QVERIFY(!gone.open(QIODevice::WriteOnly));
    QCOMPARE(problem({0, 0, 9, 9}, QStringLiteral("./gone/a.png")), gone.errorString());
    QCOMPARE(problem({0, 0, 9, 9}, QStringLiteral("./a")), QStringLiteral("Unsupported image format"));
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList());
}

/// As any program makes them, not as temporary files are.
void TestSnapshot::newFilesAreOpenToOthers() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("any"), "x"));
    QImage image(3, 3, QImage::Format_RGB32);
    image.fill(0);
    QCOMPARE(writePicture(image, QStringLiteral("./a.png"), 75), QString());
    QCOMPARE(QFile::permissions(QStringLiteral("a.png")), QFile::permissions(QStringLiteral("any")));
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden),
             (QStringList{QStringLiteral("a.png"), QStringLiteral("any")}));
}

void TestSnapshot::linkIsWrittenThrough() {
#ifdef Q_OS_WIN
    QSKIP("Qt makes shortcuts there, which only the shell follows");
#endif
    const WorkingFolder folder;
    QVERIFY(QDir().mkdir(QStringLiteral("archive")));
    QVERIFY(WorkingFolder::write(QStringLiteral("archive/code.png"), "old"));
    QVERIFY(QFile::link(QStringLiteral("archive/code.png"), QStringLiteral("code.png")));
    QImage image(3, 3, QImage::Format_RGB32);
    image.fill(qRgb(9, 8, 7));
    QCOMPARE(writePicture(image, QStringLiteral("./code.png"), 75), QString());
    QVERIFY(QFileInfo(QStringLiteral("code.png")).isSymLink());
    QCOMPARE(QImage(QStringLiteral("archive/code.png")).pixel(1, 1), qRgb(9, 8, 7));
}

/// No name and a folder's name: nothing is made anywhere.
void TestSnapshot::nowhereIsNoPlace() {
    const WorkingFolder folder;
    QVERIFY(QDir().mkdir(QStringLiteral("a.png")));
    QImage image(3, 3, QImage::Format_RGB32);
    image.fill(0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("without a name")));
    QVERIFY(!writePicture(image, QString(), 75).isEmpty());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("a\\.png was not written")));
    QVERIFY(!writePicture(image, QStringLiteral("./a.png"), 75).isEmpty());
    QCOMPARE(QDir().entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("a.png")});
    QVERIFY(QFileInfo(QStringLiteral("a.png")).isDir());
}

void TestSnapshot::emptySceneIsNoPicture() {
    QGraphicsScene scene;
    scene.setSceneRect(0, 0, 0.5, 100);
    QVERIFY(scenePicture(&scene).image.isNull());
    // Larger than any memory, and than an int.
    for (const QRectF& rect : {QRectF(0, 0, 1e5, 1e5), QRectF(0, 0, 5e9, 10), QRectF(0, 0, 1e300, 1e300)}) {
        scene.setSceneRect(rect);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("too large to be saved")));
        QVERIFY(scenePicture(&scene).image.isNull());
    }
}

void TestSnapshot::pictureIsWritten() {
    const WorkingFolder folder;
    QImage image(12, 9, QImage::Format_RGB32);
    image.fill(qRgb(10, 20, 30));
    QCOMPARE(writePicture(image, QStringLiteral("./a.png"), 75), QString());
    QCOMPARE(QImage(QStringLiteral("a.png")).pixel(11, 8), qRgb(10, 20, 30));
}

void TestSnapshot::unknownFormatFails() {
    const WorkingFolder folder;
    QImage image(12, 9, QImage::Format_RGB32);
    image.fill(0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written")));
    QVERIFY(!writePicture(image, QStringLiteral("./a"), 75).isEmpty());
    QVERIFY(!QFile::exists(QStringLiteral("a")));
}

void TestSnapshot::failureLeavesTheOldFile() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("a.png"), "old"));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written")));
    QVERIFY(!writePicture(QImage(), QStringLiteral("./a.png"), 75).isEmpty());
    QCOMPARE(WorkingFolder::read(QStringLiteral("a.png")), QByteArray("old"));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written")));
    QImage image(3, 3, QImage::Format_RGB32);
    image.fill(0);
    QVERIFY(!writePicture(image, QStringLiteral("./no-such-folder/a.png"), 75).isEmpty());
    QCOMPARE(QDir().entryList(QDir::Files), QStringList{QStringLiteral("a.png")});
}

/// Deeper than the 260 letters that Windows once had for a path.
void TestSnapshot::longPath() {
    const WorkingFolder folder;
    const QString deep = folder.path() + (QLatin1Char('/') + QString(90, QLatin1Char('x'))).repeated(3);
    QVERIFY(QDir().mkpath(deep));
    QImage image(3, 3, QImage::Format_RGB32);
    image.fill(0);
    for (int time = 0; time < 2; ++time)  // a new file, and one in the place of another
        QCOMPARE(writePicture(image, deep + QStringLiteral("/a.png"), 75), QString());
    QCOMPARE(QDir(deep).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("a.png")});
}

void TestSnapshot::heldFileIsTriedAgain_data() {
    QTest::addColumn<bool>("isPicture");
    QTest::newRow("picture") << true;
    QTest::newRow("text") << false;
}

/// As virus scanners hold it: for a moment nobody else may have the file.
void TestSnapshot::heldFileIsTriedAgain() {
#ifdef Q_OS_WIN
    QFETCH(bool, isPicture);
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("a.png"), "old"));
    const HANDLE held = CreateFileW(L"a.png", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    QVERIFY(held != INVALID_HANDLE_VALUE);
    std::thread scanner([held] {
        Sleep(60);
        CloseHandle(held);
    });
    QImage image(3, 3, QImage::Format_RGB32);
    image.fill(0);
    const QString problem = isPicture ? writePicture(image, QStringLiteral("./a.png"), 75)
                                      : platform::replaceFile(QStringLiteral("a.png"), QByteArray("new"));
    scanner.join();
    QCOMPARE(problem, QString());
    QVERIFY(WorkingFolder::read(QStringLiteral("a.png")) != "old");
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("a.png")});
#else
    QSKIP("a file is replaced here whoever has it open");
#endif
}

QTEST_MAIN(TestSnapshot)
#include "tst_snapshot.moc"
