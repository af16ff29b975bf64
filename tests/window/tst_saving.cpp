// SPDX-License-Identifier: Apache-2.0
#include "live/livetiles.h"
#include "marks/interactivescene.h"
#include "support/fulldisk.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

/// Pictures saved from the window: what is in them, what they are called, what people are told.
class TestSaving : public QObject {
    Q_OBJECT

private slots:
    void init();
    void compositeHasTilesAndMarks();
    void betweenTheTilesIsTheSameInEveryFile();
    void formats_data();
    void formats();
    void qualityReachesTheWriter();
    void unknownTypeIsNotWritten();
    void nameOfTheTime();
    void scannedNames_data();
    void scannedNames();
    void sameNameReplaces();
    void switchedOff();
    void noImage();
    void nullPath();
    void folderThatIsNotThere();
    void fullDiskLeavesTheOldFile();
    void sceneTooLarge();
    void emptyScene();
    void singleTile();
    void singleTileNames_data();
    void singleTileNames();
    void singleTileWithoutSelection();
    void singleTileWithANullPath();
    void optionsAreReadAtEverySave();
    void heldFramesAreInTheFile();
    void arrivedFramesAreInTheFile();
    void longestNameTwice();
    void onlyOneBoxAtATime();

private:
    static void start(WindowUnderTest& window, const QByteArray& ini = {}, const QByteArray& pos = {});
    static QStringList files() {
        return QDir()
            .entryList({QStringLiteral("*.*")}, QDir::Files)
            .filter(QRegularExpression(QStringLiteral("\\.(png|jpg|bmp)$")));
    }
};

void TestSaving::init() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras)
        camera.queryStatus = 5;  // the frames of the test are the only ones
    recording::reset(cameras);
}

/// Two tiles of 64 x 48 px, grey 50 and 150.
void TestSaving::start(WindowUnderTest& window, const QByteArray& ini, const QByteArray& pos) {
    QVERIFY(WorkingFolder::write(
        QStringLiteral("setting.ini"),
        "[File]\nLang=1\nType=2\n" + ini + "[Pos]\n" + (pos.isEmpty() ? "X0=0\nY0=0\nX1=64\nY1=0\n" : pos)));
    window.start();
    QTRY_VERIFY(window->isMaximized());
    window.sendFrame(0, 50);
    window.sendFrame(1, 150);
    window.answerer.boxes.clear();  // the hot key's: there is none on this platform
}

void TestSaving::compositeHasTilesAndMarks() {
    WindowUnderTest window;
    start(window);
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), "Line #ff0000 1 0 | 10 20 100 20\r\n"));
    window.action("actionLoad_Corner")->trigger();
    window->saveImageByName(QStringLiteral("all"));
    const QImage saved(QStringLiteral("all.png"));
    QCOMPARE(saved.size(), QSize(128, 48));
    QCOMPARE(saved.pixelColor(5, 5), QColor(50, 50, 50));
    QCOMPARE(saved.pixelColor(63, 47), QColor(50, 50, 50));
    QCOMPARE(saved.pixelColor(64, 0), QColor(150, 150, 150));
    // The line, on one of the two rows that its middle lies between.
    QVERIFY(saved.pixelColor(60, 20) == QColor(Qt::red) || saved.pixelColor(60, 19) == QColor(Qt::red));
    // The other ways in write the same pixels.
    window.action("action_Save")->trigger();
    window->saveScanned(QStringLiteral("code"));
    for (const QString& name : files())
        QCOMPARE(QImage(name), saved);
    QCOMPARE(files().size(), 3);
}

void TestSaving::betweenTheTilesIsTheSameInEveryFile() {
    WindowUnderTest window;
    start(window, {}, "X0=0\nY0=0\nX1=200\nY1=30\n");
    window->saveImageByName(QStringLiteral("one"));
    window->saveImageByName(QStringLiteral("two"));
    const QImage saved(QStringLiteral("one.png"));
    QCOMPARE(saved.size(), QSize(264, 78));
    QCOMPARE(saved.pixelColor(100, 10).alpha(), 0);
    QCOMPARE(WorkingFolder::read(QStringLiteral("one.png")), WorkingFolder::read(QStringLiteral("two.png")));
}

void TestSaving::formats_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("magic");
    QTest::newRow("BMP") << 0 << QStringLiteral("p.bmp") << QByteArray("BM");
    QTest::newRow("JPEG") << 1 << QStringLiteral("p.jpg") << QByteArray("\xff\xd8\xff");
    QTest::newRow("PNG") << 2 << QStringLiteral("p.png") << QByteArray("\x89PNG");
}

void TestSaving::formats() {
    QFETCH(int, type);
    QFETCH(QString, file);
    QFETCH(QByteArray, magic);
    WindowUnderTest window;
    start(window);
    WorkingFolder::setKey(QStringLiteral("File/Type"), type);  // read at every save
    window->saveImageByName(QStringLiteral("p"));
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./") + file);
    QVERIFY(WorkingFolder::read(file).startsWith(magic));
    const QImage saved(file);
    QCOMPARE(saved.size(), QSize(128, 48));
    QVERIFY(qAbs(qGray(saved.pixel(10, 10)) - 50) < 3);
}

void TestSaving::qualityReachesTheWriter() {
    qint64 sizes[2] = {};
    for (const int quality : {5, 95}) {
        WindowUnderTest window;
        start(window, "Quality=" + QByteArray::number(quality) + "\n");
        WorkingFolder::setKey(QStringLiteral("File/Type"), 1);
        // Something to be lost.
        auto* buffer = new unsigned char[64 * 48];
        for (int i = 0; i < 64 * 48; ++i)
            buffer[i] = static_cast<unsigned char>(i * 37 % 251);
        window->process(0, QImage(buffer, 64, 48, 64, QImage::Format_Grayscale8), buffer,
                        static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
        window.sendFrame(1, 150);
        window->saveImageByName(QStringLiteral("p"));
        sizes[quality == 5 ? 0 : 1] = QFileInfo(QStringLiteral("p.jpg")).size();
    }
    QVERIFY(sizes[0] > 0);
    QVERIFY2(sizes[1] > 2 * sizes[0], qPrintable(QStringLiteral("%1 %2").arg(sizes[0]).arg(sizes[1])));
}

void TestSaving::unknownTypeIsNotWritten() {
    WindowUnderTest window;
    start(window);
    WorkingFolder::setKey(QStringLiteral("File/Type"), 3);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("\\./p was not written: .+")));
    window->saveImageByName(QStringLiteral("p"));
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./p"));  // claimed all the same
    QVERIFY(!QFile::exists(QStringLiteral("p")));
    // A name with an ending of its own is written in that format.
    window->saveScanned(QStringLiteral("code.png"));
    QCOMPARE(QImage(QStringLiteral("code.png")).size(), QSize(128, 48));
}

void TestSaving::nameOfTheTime() {
    WindowUnderTest window;
    start(window);
    const QDateTime before = QDateTime::currentDateTime();
    window.action("action_Save")->trigger();
    const QDateTime after = QDateTime::currentDateTime();
    QCOMPARE(files().size(), 1);
    const QRegularExpressionMatch match =
        QRegularExpression(QStringLiteral("^snapshot-(\\d{17})\\.png$")).match(files()[0]);
    QVERIFY(match.hasMatch());
    const QDateTime named = QDateTime::fromString(match.captured(1), QStringLiteral("yyyyMMddhhmmsszzz"));
    QVERIFY(named >= before && named <= after);
}

void TestSaving::scannedNames_data() {
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("isWritten");
    QTest::newRow("digits") << QStringLiteral("4006381333931") << QStringLiteral("4006381333931.png") << true;
    QTest::newRow("spaces") << QStringLiteral(" a b ") << QStringLiteral(" a b .png") << true;
    QTest::newRow("dots") << QStringLiteral("a.b") << QStringLiteral("a.b.png") << true;
    QTest::newRow("empty") << QString() << QStringLiteral(".png") << true;
    QTest::newRow("folder that is there") << QStringLiteral("lot/7") << QStringLiteral("lot/7.png") << true;
    QTest::newRow("folder that is not") << QStringLiteral("gone/7") << QStringLiteral("gone/7.png") << false;
}

void TestSaving::scannedNames() {
    QFETCH(QString, code);
    QFETCH(QString, file);
    QFETCH(bool, isWritten);
    WindowUnderTest window;
    start(window);
    QVERIFY(QDir().mkdir(QStringLiteral("lot")));
    window->saveScanned(code);
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./") + file);
    QCOMPARE(QImage(file).size(), isWritten ? QSize(128, 48) : QSize(0, 0));
}

void TestSaving::sameNameReplaces() {
    WindowUnderTest window;
    start(window);
    window->saveScanned(QStringLiteral("c"));
    window.sendFrame(0, 90);
    window->saveScanned(QStringLiteral("c"));
    QCOMPARE(files(), QStringList{QStringLiteral("c.png")});
    QCOMPARE(QImage(QStringLiteral("c.png")).pixelColor(1, 1), QColor(90, 90, 90));
}

/// Saving switched off: the held frames still come into view, nothing is written or said.
void TestSaving::switchedOff() {
    WindowUnderTest window;
    start(window, "SaveCaptured=false\nFreezeImage=true\n");
    for (const int way : {0, 1}) {
        window.sendFrame(0, 90 + way);
        QVERIFY(WindowUnderTest::greyOf(window.tiles()[0]) != 90 + way);
        if (way == 0)
            window.action("action_Save")->trigger();
        else
            window->saveScanned(QStringLiteral("c"));
        QCOMPARE(WindowUnderTest::greyOf(window.tiles()[0]), 90 + way);
    }
    QCOMPARE(files(), QStringList());
    QCOMPARE(window.leftText().trimmed(), QString());
}

void TestSaving::noImage() {
    WindowUnderTest window;
    recording::setReportedCount(0);
    start(window);
    window.action("action_Save")->trigger();
    QCOMPARE(window.leftText(), QStringLiteral("No image"));
    window.end();
    recording::setReportedCount(2);
    window.start();
    QTRY_VERIFY(window->isMaximized());
    window.sendFrame(1, 150);  // the first tile has had no picture
    window->saveScanned(QStringLiteral("c"));
    QCOMPARE(window.leftText(), QStringLiteral("No image"));
    QCOMPARE(files(), QStringList());
}

void TestSaving::nullPath() {
    WindowUnderTest window;
    start(window, "Path=@Invalid()\n");
    window.action("action_Save")->trigger();
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(window.answerer.boxes[0].icon, QMessageBox::Information);
    QCOMPARE(window.answerer.boxes[0].title, QStringLiteral("notice"));
    QCOMPARE(window.answerer.boxes[0].text, QStringLiteral("Please select valid path!"));
    QCOMPARE(window.answerer.boxes[0].buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(window.leftText().trimmed(), QString());
    QCOMPARE(files(), QStringList());
}

void TestSaving::folderThatIsNotThere() {
    WindowUnderTest window;
    start(window, "Path=./gone/for ever\n");
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written: .+")));
    window->saveScanned(QStringLiteral("c"));
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./gone/for ever/c.png"));
}

void TestSaving::fullDiskLeavesTheOldFile() {
#ifdef HAS_FULL_DISK
    WindowUnderTest window;
    start(window);
    window->saveScanned(QStringLiteral("c"));
    const QByteArray old = WorkingFolder::read(QStringLiteral("c.png"));
    window.sendFrame(0, 90);
    {
        const FullDisk full(50);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("c\\.png was not written: .+")));
        window->saveScanned(QStringLiteral("c"));
    }
    QCOMPARE(WorkingFolder::read(QStringLiteral("c.png")), old);
    // Nothing half, hidden or not.
    QCOMPARE(QDir().entryList({QStringLiteral("c*"), QStringLiteral(".*")}, QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral("c.png")});
#else
    QSKIP("no disk can be made full here");
#endif
}

void TestSaving::sceneTooLarge() {
    WindowUnderTest window;
    start(window, {}, "X0=0\nY0=0\nX1=900000\nY1=900000\n");
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("A scene of .* is too large to be saved")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("c\\.png was not written: .+")));
    window->saveScanned(QStringLiteral("c"));
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./c.png"));
    QCOMPARE(files(), QStringList());
}

/// Nothing to be seen, nothing to be written, and the label as after any save.
void TestSaving::emptyScene() {
    WindowUnderTest window;
    start(window);
    window.view()->scene()->setSceneRect(0, 0, 0.5, 0.5);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("c\\.png was not written: .+")));
    window->saveScanned(QStringLiteral("c"));
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./c.png"));
    QCOMPARE(files(), QStringList());
    QVERIFY(window.answerer.boxes.isEmpty());
}

void TestSaving::singleTile() {
    WindowUnderTest window;
    start(window);
    auto* tile = window.tiles()[1];
    tile->setFlags(QGraphicsItem::ItemIsSelectable);
    tile->setSelected(true);
    window.action("actionSave_Single")->trigger();
    QCOMPARE(files().size(), 1);
    QVERIFY(files()[0].startsWith(QStringLiteral("snapshot-")));
    const QImage saved(files()[0]);
    QCOMPARE(saved.size(), QSize(64, 48));
    QCOMPARE(saved.pixelColor(3, 3), QColor(150, 150, 150));
    QCOMPARE(window.leftText().trimmed(), QString());  // nothing is said
}

void TestSaving::singleTileNames_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("pattern");
    QTest::newRow("BMP") << 0 << QStringLiteral("^snapshot-\\d{17}\\.bmp$");
    QTest::newRow("JPEG") << 1 << QStringLiteral("^snapshot-\\d{17}\\.jpg$");
    QTest::newRow("PNG") << 2 << QStringLiteral("^snapshot-\\d{17}\\.png$");
    QTest::newRow("unknown") << 7 << QString();
}

/// The bare camera picture, whatever lies over it, in the folder and format of the options.
void TestSaving::singleTileNames() {
    QFETCH(int, type);
    QFETCH(QString, pattern);
    WindowUnderTest window;
    start(window);
    QVERIFY(QDir().mkpath(QStringLiteral("lot/7")));
    WorkingFolder::setKey(QStringLiteral("File/Path"), QStringLiteral("./lot/7"));
    WorkingFolder::setKey(QStringLiteral("File/Type"), type);
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), "Line #ff0000 1 0 | 10 20 100 20\r\n"));
    window.action("actionLoad_Corner")->trigger();
    auto* tile = window.tiles()[0];
    tile->setFlags(QGraphicsItem::ItemIsSelectable);
    tile->setSelected(true);
    if (pattern.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written")));
    window.action("actionSave_Single")->trigger();
    const QStringList saved = QDir(QStringLiteral("lot/7")).entryList(QDir::Files | QDir::Hidden);
    QCOMPARE(saved.size(), pattern.isEmpty() ? 0 : 1);
    if (pattern.isEmpty())
        return;
    QVERIFY2(QRegularExpression(pattern).match(saved[0]).hasMatch(), qPrintable(saved[0]));
    const QImage picture(QStringLiteral("lot/7/") + saved[0]);
    QCOMPARE(picture.size(), QSize(64, 48));
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            QVERIFY(qAbs(qRed(picture.pixel(x, y)) - 50) < 3 && qAbs(qBlue(picture.pixel(x, y)) - 50) < 3);
    }
}

void TestSaving::singleTileWithoutSelection() {
    WindowUnderTest window;
    start(window);
    window.action("actionSave_Single")->trigger();
    // A mark that is selected is no tile.
    window.action("actionTilt")->trigger();
    QTest::mouseClick(window.view()->viewport(), Qt::LeftButton, {},
                      window.view()->mapFromScene(QPointF(20, 20)));
    QCOMPARE(window.view()->scene()->selectedItems().size(), 1);
    window.action("actionSave_Single")->trigger();
    QCOMPARE(files(), QStringList());
}

void TestSaving::singleTileWithANullPath() {
    WindowUnderTest window;
    start(window, "Path=@Invalid()\n");
    auto* tile = window.tiles()[1];
    tile->setFlags(QGraphicsItem::ItemIsSelectable);
    tile->setSelected(true);
    window.action("actionSave_Single")->trigger();
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(window.answerer.boxes[0].text, QStringLiteral("Please select valid path!"));
    QCOMPARE(files(), QStringList());
    // A tile whose picture is none fails without a word.
    WorkingFolder::setKey(QStringLiteral("File/Path"), QStringLiteral("."));
    tile->setPixmap(QPixmap());
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("snapshot-\\d+\\.png was not written: .+")));
    window.action("actionSave_Single")->trigger();
    QCOMPARE(files(), QStringList());
    QCOMPARE(window.answerer.boxes.size(), 1);  // not a second one
}

void TestSaving::optionsAreReadAtEverySave() {
    WindowUnderTest window;
    start(window);
    QVERIFY(QDir().mkdir(QStringLiteral("other")));
    window->saveScanned(QStringLiteral("a"));
    WorkingFolder::setKey(QStringLiteral("File/Path"), QStringLiteral("./other"));
    window->saveScanned(QStringLiteral("b"));
    QVERIFY(QFile::exists(QStringLiteral("other/b.png")));
}

/// The newest frames are in the file, not only in the view afterwards.
void TestSaving::heldFramesAreInTheFile() {
    WindowUnderTest window;
    start(window, "FreezeImage=true\n");
    window.sendFrame(0, 91);
    window.sendFrame(1, 92);
    window->saveScanned(QStringLiteral("c"));
    QCOMPARE(QImage(QStringLiteral("c.png")).pixelColor(1, 1), QColor(91, 91, 91));
    QCOMPARE(QImage(QStringLiteral("c.png")).pixelColor(100, 1), QColor(92, 92, 92));
    window.sendFrame(0, 93);
    window.action("action_Save")->trigger();
    const QStringList snapshot = files().filter(QStringLiteral("snapshot"));
    QCOMPARE(snapshot.size(), 1);
    QCOMPARE(QImage(snapshot[0]).pixelColor(1, 1), QColor(93, 93, 93));
    // A single tile is saved as it is shown.
    window.sendFrame(1, 94);
    auto* tile = window.tiles()[1];
    tile->setFlags(QGraphicsItem::ItemIsSelectable);
    tile->setSelected(true);
    QFile::remove(snapshot[0]);
    window.action("actionSave_Single")->trigger();
    const QStringList single = files().filter(QStringLiteral("snapshot"));
    QCOMPARE(single.size(), 1);
    QCOMPARE(QImage(single[0]).pixelColor(1, 1), QColor(92, 92, 92));
}

/// Triggers that came while a picture was written are handled one after the other: each picture is of its own
/// time.
void TestSaving::arrivedFramesAreInTheFile() {
    WindowUnderTest window;
    start(window);
    for (const int grey : {61, 62}) {
        window->findChild<LiveTiles*>()->handOver(0, WindowUnderTest::frameOf(grey));
        window->saveScanned(QStringLiteral("d"));
        QCOMPARE(QImage(QStringLiteral("d.png")).pixelColor(1, 1), QColor(grey, grey, grey));
    }
}

/// As long as a name can be, and once more.
void TestSaving::longestNameTwice() {
    WindowUnderTest window;
    start(window);
    const QString code(251, QLatin1Char('7'));
    for (const int grey : {81, 82}) {
        window.sendFrame(0, grey);
        window->saveScanned(code);
        QCOMPARE(QImage(code + QStringLiteral(".png")).pixelColor(1, 1), QColor(grey, grey, grey));
    }
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden).filter(QStringLiteral("bivista-")), QStringList());
}

/// Triggers go on while the box is up: it stays one.
void TestSaving::onlyOneBoxAtATime() {
    WindowUnderTest window;
    start(window, "Path=@Invalid()\n");
    int most = 0;
    const auto count = [&most] {
        int boxes = 0;
        for (const QWidget* widget : QApplication::topLevelWidgets())
            boxes += qobject_cast<const QMessageBox*>(widget) && widget->isVisible() ? 1 : 0;
        most = std::max(most, boxes);
        return boxes;
    };
    window.answerer.beforeAnswer = [&] {
        // A second box would be up until somebody closes it: the answerer is busy.
        QTimer other;
        other.callOnTimeout([&count] {
            if (count() > 1)
                QApplication::activeModalWidget()->close();
        });
        other.start(5);
        window->saveImage();
        window->saveScanned(QStringLiteral("7"));
        count();
    };
    window->saveImage();
    QCOMPARE(most, 1);
    QCOMPARE(window.answerer.boxes.size(), 1);
    // When it has been answered, the next one may come.
    window->saveImage();
    QCOMPARE(window.answerer.boxes.size(), 2);
}

QTEST_MAIN(TestSaving)
#include "tst_saving.moc"
