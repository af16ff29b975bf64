#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QHash>
#include <QtTest>
#include <memory>
#include <thread>

#include "control/snapshot.h"
#include "platform/files.h"
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
    void sceneIsRendered();
    void formatsHaveTheSameColours_data();
    void formatsHaveTheSameColours();
    void fileIsThatOfThePicture_data();
    void fileIsThatOfThePicture();
    void savingLeavesTheScene();
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
}

void TestSnapshot::suffixFollowsTheType() {
    QCOMPARE(snapshotSuffix(0), QStringLiteral(".bmp"));
    QCOMPARE(snapshotSuffix(1), QStringLiteral(".jpg"));
    QCOMPARE(snapshotSuffix(2), QStringLiteral(".png"));
    QCOMPARE(snapshotSuffix(3), QString());
    QCOMPARE(snapshotSuffix(-1), QString());
}

void TestSnapshot::sceneIsRendered() {
    QGraphicsScene scene;
    QPixmap pixmap(10, 8);
    pixmap.fill(Qt::red);
    scene.addPixmap(pixmap)->setPos(5, 2);
    scene.setSceneRect(0, 0, 20.9, 12.9);
    const QImage image = renderedScene(&scene);
    QCOMPARE(image.size(), QSize(20, 12));
    QCOMPARE(image.pixelColor(8, 5), QColor(Qt::red));
    QCOMPARE(image.pixelColor(1, 1).alpha(), 0);
}

namespace {

QPixmap pattern(int seed, QSize size = {40, 30}) {
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgb((x * 7 + seed) % 256, (y * 5 + seed) % 256, (x * y + seed) % 256));
    }
    return QPixmap::fromImage(image);
}

/// What can be different about the tiles of a scene of 80 x 30 px.
enum class Oddity {
    None,
    Gap,
    Overlap,
    BeyondTheEdge,
    Hidden,
    Selected,
    HalfAPixel,
    Scaled,
    Translucent,
    Faded,
    MarkBelow,
    HighDpi,
    PartOfAPixel,
    Elsewhere,
};

std::unique_ptr<QGraphicsScene> sceneWith(Oddity oddity) {
    auto scene = std::make_unique<QGraphicsScene>();
    if (oddity == Oddity::MarkBelow)
        scene->addRect(0, 0, 60, 25, QPen(Qt::red), Qt::green);
    QPixmap second = pattern(90);
    if (oddity == Oddity::Translucent) {
        QImage image(second.size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(QColor(200, 100, 50, 90));
        second = QPixmap::fromImage(image);
    }
    if (oddity == Oddity::HighDpi)
        second.setDevicePixelRatio(2);
    auto* left = scene->addPixmap(pattern(3));
    auto* right = scene->addPixmap(second);
    right->setPos(40, 0);
    scene->setSceneRect(0, 0, 80, 30);
    switch (oddity) {
        case Oddity::Gap:
            right->setPos(47, 3);
            break;
        case Oddity::Overlap:
            right->setPos(21, 4);
            break;
        case Oddity::BeyondTheEdge:
            left->setPos(-9, -8);
            right->setPos(60, 12);
            break;
        case Oddity::Hidden:
            right->hide();
            break;
        case Oddity::Selected:
            right->setFlag(QGraphicsItem::ItemIsSelectable);
            right->setSelected(true);
            break;
        case Oddity::HalfAPixel:
            right->setPos(40.5, 0.5);
            break;
        case Oddity::Scaled:
            right->setScale(0.7);
            break;
        case Oddity::Faded:
            right->setOpacity(0.4);
            break;
        case Oddity::PartOfAPixel:
            scene->setSceneRect(0, 0, 80.7, 30.2);
            break;
        case Oddity::Elsewhere:
            for (auto* item : {left, right})
                item->moveBy(1000, -500);
            scene->setSceneRect(1000, -500, 80, 30);
            break;
        default:
            break;
    }
    // Over the tiles and, where there is a gap, over nothing.
    const QPointF corner = scene->sceneRect().topLeft();
    QPen pen(QColor(255, 0, 0, 128), 1.5);
    scene->addEllipse(QRectF(5, 5, 70, 20).translated(corner), pen);
    auto* text = scene->addSimpleText(QStringLiteral("Tgq 12"));
    text->setBrush(Qt::yellow);
    text->setPos(corner + QPointF(30, 5));
    // Small text at places between pixels, where blending shows how it rounds.
    int number = 0;
    for (const QColor& colour :
         {QColor(Qt::red), QColor(Qt::green), QColor(Qt::blue), QColor(10, 200, 90, 120)}) {
        auto* small = scene->addSimpleText(QStringLiteral("fA%1 j").arg(number));
        small->setBrush(colour);
        small->setPos(corner + QPointF(2.5 + 17.3 * number, 1.5 + 4.7 * number));
        small->setRotation(number == 3 ? 30 : 0);
        ++number;
    }
    return scene;
}

void addOddities() {
    QTest::addColumn<int>("oddity");
    QTest::addColumn<bool>("isConverted");  // the bottom tile at least
    QTest::addColumn<bool>("isCovered");
    const auto row = [](const char* name, Oddity oddity, bool isConverted, bool isCovered) {
        QTest::newRow(name) << int(oddity) << isConverted << isCovered;
    };
    row("none", Oddity::None, true, true);
    row("gap", Oddity::Gap, true, false);
    row("overlap", Oddity::Overlap, true, false);
    row("beyond the edge", Oddity::BeyondTheEdge, true, false);
    row("hidden", Oddity::Hidden, true, false);
    row("selected", Oddity::Selected, true, false);
    row("half a pixel", Oddity::HalfAPixel, true, false);
    row("scaled", Oddity::Scaled, true, false);
    row("translucent", Oddity::Translucent, true, false);
    row("faded", Oddity::Faded, true, false);
    row("mark below", Oddity::MarkBelow, false, false);
    row("high DPI", Oddity::HighDpi, true, false);
    row("part of a pixel", Oddity::PartOfAPixel, false, false);
    row("elsewhere", Oddity::Elsewhere, true, true);
}

}  // namespace

void TestSnapshot::formatsHaveTheSameColours_data() {
    addOddities();
}

void TestSnapshot::formatsHaveTheSameColours() {
    QFETCH(int, oddity);
    QFETCH(bool, isConverted);
    QFETCH(bool, isCovered);
    const auto scene = sceneWith(Oddity(oddity));
    const QImage plain = renderedScene(scene.get());
    QCOMPARE(plain.format(), QImage::Format_ARGB32_Premultiplied);
    QCOMPARE(plain.size(), QSize(80, 30));

    const QImage colours = renderedScene(scene.get(), QImage::Format_RGB888);
    QCOMPARE(colours.format(), isConverted ? QImage::Format_RGB888 : QImage::Format_ARGB32_Premultiplied);
    const QImage opaque = renderedScene(scene.get(), QImage::Format_RGB32);
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

/// What is saved is byte for byte what the encoder makes of the plain picture.
void TestSnapshot::fileIsThatOfThePicture() {
    QFETCH(int, oddity);
    const WorkingFolder folder;
    const auto scene = sceneWith(Oddity(oddity));
    const QImage plain = renderedScene(scene.get());
    for (const QString& suffix :
         {QStringLiteral(".jpg"), QStringLiteral(".JPEG"), QStringLiteral(".bmp"), QStringLiteral(".png")}) {
        QVERIFY(saveScene(scene.get(), QStringLiteral("./a") + suffix, 75));
        QVERIFY(plain.save(QStringLiteral("b") + suffix, nullptr, 75));
        QCOMPARE(WorkingFolder::read(QStringLiteral("a") + suffix),
                 WorkingFolder::read(QStringLiteral("b") + suffix));
    }
}

/// Tiles take part in the next picture, and in the view, as before.
void TestSnapshot::savingLeavesTheScene() {
    const auto scene = sceneWith(Oddity::None);
    QHash<QGraphicsItem*, int> flags;
    const auto items = scene->items();
    for (QGraphicsItem* item : items)
        flags.insert(item, int(item->flags()));
    const QImage before = renderedScene(scene.get());
    renderedScene(scene.get(), QImage::Format_RGB888);
    QCOMPARE(renderedScene(scene.get()), before);
    for (QGraphicsItem* item : items)
        QCOMPARE(int(item->flags()), flags.value(item));
}

/// As any program makes them, not as temporary files are.
void TestSnapshot::newFilesAreOpenToOthers() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("any"), "x"));
    QImage image(3, 3, QImage::Format_RGB32);
    image.fill(0);
    QVERIFY(writePicture(image, QStringLiteral("./a.png"), 75));
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
    QVERIFY(writePicture(image, QStringLiteral("./code.png"), 75));
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
    QVERIFY(!writePicture(image, QString(), 75));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("a\\.png was not written")));
    QVERIFY(!writePicture(image, QStringLiteral("./a.png"), 75));
    QCOMPARE(QDir().entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("a.png")});
    QVERIFY(QFileInfo(QStringLiteral("a.png")).isDir());
}

void TestSnapshot::emptySceneIsNoPicture() {
    QGraphicsScene scene;
    scene.setSceneRect(0, 0, 0.5, 100);
    QVERIFY(renderedScene(&scene).isNull());
    // Larger than any memory, and than an int.
    for (const QRectF& rect : {QRectF(0, 0, 1e5, 1e5), QRectF(0, 0, 5e9, 10), QRectF(0, 0, 1e300, 1e300)}) {
        scene.setSceneRect(rect);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("too large to be saved")));
        QVERIFY(renderedScene(&scene).isNull());
    }
}

void TestSnapshot::pictureIsWritten() {
    const WorkingFolder folder;
    QImage image(12, 9, QImage::Format_RGB32);
    image.fill(qRgb(10, 20, 30));
    QVERIFY(writePicture(image, QStringLiteral("./a.png"), 75));
    QCOMPARE(QImage(QStringLiteral("a.png")).pixel(11, 8), qRgb(10, 20, 30));
}

void TestSnapshot::unknownFormatFails() {
    const WorkingFolder folder;
    QImage image(12, 9, QImage::Format_RGB32);
    image.fill(0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written")));
    QVERIFY(!writePicture(image, QStringLiteral("./a"), 75));
    QVERIFY(!QFile::exists(QStringLiteral("a")));
}

void TestSnapshot::failureLeavesTheOldFile() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("a.png"), "old"));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written")));
    QVERIFY(!writePicture(QImage(), QStringLiteral("./a.png"), 75));
    QCOMPARE(WorkingFolder::read(QStringLiteral("a.png")), QByteArray("old"));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written")));
    QImage image(3, 3, QImage::Format_RGB32);
    image.fill(0);
    QVERIFY(!writePicture(image, QStringLiteral("./no-such-folder/a.png"), 75));
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
        QVERIFY(writePicture(image, deep + QStringLiteral("/a.png"), 75));
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
    const bool isWritten = isPicture
                               ? writePicture(image, QStringLiteral("./a.png"), 75)
                               : platform::replaceFile(QStringLiteral("a.png"), QByteArray("new")).isEmpty();
    scanner.join();
    QVERIFY(isWritten);
    QVERIFY(WorkingFolder::read(QStringLiteral("a.png")) != "old");
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("a.png")});
#else
    QSKIP("a file is replaced here whoever has it open");
#endif
}

QTEST_MAIN(TestSnapshot)
#include "tst_snapshot.moc"
