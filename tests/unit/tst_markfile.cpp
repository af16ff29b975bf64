// SPDX-License-Identifier: Apache-2.0
#include <QDirIterator>
#include <QSignalSpy>
#include <QtTest>

#include "marks/textmark.h"
#include "support/boxanswerer.h"
#include "support/fulldisk.h"
#include "support/marktest.h"
#include "support/workingfolder.h"

namespace {

const QString kFile = QStringLiteral("mark0.txt");

QList<Mark*> marksIn(const QGraphicsScene& scene) {
    QList<Mark*> marks;
    const auto items = scene.items(Qt::AscendingOrder);
    for (QGraphicsItem* item : items) {
        if (auto* mark = dynamic_cast<Mark*>(item))
            marks.append(mark);
    }
    return marks;
}

QStringList linesOf(InteractiveScene& scene) {
    scene.saveMarks(7);
    QByteArray content = WorkingFolder::read(QStringLiteral("mark7.txt"));
    content.chop(content.endsWith("\r\n") ? 2 : 0);
    return content.isEmpty() ? QStringList() : QString::fromLatin1(content).split(QStringLiteral("\r\n"));
}

}  // namespace

/// The mark file and the saved lines of the overlays.
class TestMarkFile : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void loadedMarksAreComplete();
    void loadedMarksLieLow();
    void goldenFile();
    void lineEnds_data();
    void lineEnds();
    void strangeBytes_data();
    void strangeBytes();
    void longLines();
    void nothingInAnEmptyScene();
    void noMarksMakeAnEmptyFile();
    void disabledMarksAndOverlaysAreLeftOut();
    void oldFileSurvivesAFailedWrite();
    void tellsWhatWentWrong();
    void atMostTenThousandMarks();
    void missingFileClears();
    void crossHairsAreAnnouncedInOrder();
    void announcedBeforeItIsInTheScene();
    void listenerMayRemoveOlderMarks();
    void loadingWhileACrossHairIsPlaced();
    void textLine();
    void textLineIsReadByPosition();
    void dateTimeFormatIsMended();
    void overlaysAreNotReplaced();
    void kinds();
    void documentedLines_data();
    void documentedLines();
    void keptInputs_data();
    void keptInputs();

private:
    std::unique_ptr<WorkingFolder> folder;
    std::unique_ptr<InteractiveScene> scene;
};

void TestMarkFile::init() {
    qRegisterMetaType<Mark*>("Mark*");
    folder = std::make_unique<WorkingFolder>();
    scene = std::make_unique<InteractiveScene>(nullptr, 1);
    scene->setSceneRect(0, 0, 640, 480);
    scene->addRect(0, 0, 640, 480);  // a tile
}

void TestMarkFile::cleanup() {
    scene.reset();
    folder.reset();
}

void TestMarkFile::loadedMarksAreComplete() {
    QVERIFY(markFromLine(QStringLiteral("Polygon #ff0000 3 1 50 | ") + QStringLiteral("1 2 ").repeated(50),
                         scene.get()));
    // A complete mark takes no more clicks.
    for (const char* line : {"Line #ff0000 3 1 | 60 200 300 120", "Circle #ffff00 1 0 | 1 2 3 4 5 6",
                             "Arc #123abc 2 1 | 1 2 3 4 5 6", "Rectangle #0000ff 1 1 0 | 1 2 3 4",
                             "Ellipse #ff0000 1 0 0 | 1 2 3 4", "Polygon #00ff00 3 1 2 | 1 2 3 4 "}) {
        const auto mark = markFromLine(QString::fromLatin1(line), scene.get());
        QVERIFY(press(*mark, {500, 500}));
        drag(*mark, {600, 600});
        QCOMPARE(mark->toText(), QString::fromLatin1(line));
    }
}

void TestMarkFile::loadedMarksLieLow() {
    QVERIFY(WorkingFolder::write(kFile,
                                 "HLine #00ff00 1 1 | 5 6\r\nLine #ff0000 3 1 | 1 2 3 4\r\n"
                                 "Coordinates #0000ff 1 1 | 9 9\r\n"));
    scene->loadMarks(0);
    const auto marks = marksIn(*scene);
    QCOMPARE(marks.size(), 3);
    for (const Mark* mark : marks) {
        QCOMPARE(mark->zValue(), mark->toolTip() == QLatin1String("Line Mark") ? 1000.0 : 5.0);
        QCOMPARE(mark->flags(), QGraphicsItem::GraphicsItemFlags());
    }
}

void TestMarkFile::goldenFile() {
    QFile golden(QStringLiteral(TEST_DATA "/mark0.txt"));
    QVERIFY(golden.open(QIODevice::ReadOnly));
    const QByteArray content = golden.readAll();
    QCOMPARE(content.count("\r\n"), 10);
    QVERIFY(WorkingFolder::write(kFile, content));
    scene->loadMarks(0);
    QCOMPARE(marksIn(*scene).size(), 10);
    scene->saveMarks(0);
    QCOMPARE(WorkingFolder::read(kFile), content);
    QCOMPARE(QDir().entryList(QDir::Files), QStringList{kFile});  // and nothing beside it
}

void TestMarkFile::lineEnds_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("CR LF") << QByteArray("HLine #00ff00 1 1 | 5 6\r\nVLine #00ff00 1 1 | 7 8\r\n");
    QTest::newRow("LF") << QByteArray("HLine #00ff00 1 1 | 5 6\nVLine #00ff00 1 1 | 7 8\n");
    QTest::newRow("none at the end") << QByteArray("HLine #00ff00 1 1 | 5 6\r\nVLine #00ff00 1 1 | 7 8");
    QTest::newRow("empty lines") << QByteArray(
        "\n\r\nHLine #00ff00 1 1 | 5 6\r\n\n\nVLine #00ff00 1 1 | 7 8\n\n");
    QTest::newRow("nonsense between") << QByteArray(
        "HLine #00ff00 1 1 | 5 6\r\nLine #ff\r\n\xff\xfe\x80 x\r\nText a b\r\nVLine #00ff00 1 1 | 7 8\r\n");
    QTest::newRow("byte order mark") << QByteArray(
        "\xef\xbb\xbfHLine #00ff00 1 1 | 5 6\r\nVLine #00ff00 1 1 | 7 8\r\n");
}

void TestMarkFile::lineEnds() {
    QFETCH(QByteArray, content);
    QVERIFY(WorkingFolder::write(kFile, content));
    scene->loadMarks(0);
    QCOMPARE(linesOf(*scene), (QStringList{QStringLiteral("HLine #00ff00 1 1 | 5 6"),
                                           QStringLiteral("VLine #00ff00 1 1 | 7 8")}));
}

void TestMarkFile::strangeBytes_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("count");
    QTest::newRow("NUL in a number") << QByteArray("HLine #00ff00 1 1 | 5 6\0\r\n", 26) << 1;
    QTest::newRow("NUL in the keyword") << QByteArray("HL\0ine #00ff00 1 1 | 5 6\r\n", 26) << 0;
    QTest::newRow("only NUL") << QByteArray(100000, '\0') << 0;
    QTest::newRow("only spaces") << QByteArray(100000, ' ') << 0;
    QTest::newRow("only line ends") << QByteArray(100000, '\n') << 0;
    QTest::newRow("a folder of numbers")
        << QByteArray("Line ") + QByteArray("9").repeated(50000) + " 1 1 | 1 2 3 4" << 1;
    QTest::newRow("half a UTF-16 file") << QByteArray("\xff\xfeH\0L", 5) << 0;
}

void TestMarkFile::strangeBytes() {
    QFETCH(QByteArray, content);
    QVERIFY(WorkingFolder::write(kFile, content));
    scene->loadMarks(0);
    QTEST(marksIn(*scene).size(), "count");
    rendered(*scene);
}

void TestMarkFile::longLines() {
    const QByteArray first = "HLine #00ff00 1 1 | 5 6\r\n";
    const QByteArray last = "VLine #00ff00 1 1 | 7 8\r\n";
    // Long but within the limit: read. Beyond it: skipped, also when a piece of it looks like a line of its
    // own.
    const QByteArray within =
        "HLine #00ff00 1 1 | 1 " + QByteArray(MarkFileReader::kLongestLine - 100, ' ') + "2\n";
    QByteArray beyond(MarkFileReader::kLongestLine, 'x');
    beyond += first.trimmed() + QByteArray(3 * MarkFileReader::kLongestLine, ' ') + "\n";
    const QByteArray exactly = QByteArray(MarkFileReader::kLongestLine, ' ') + "\n";
    QVERIFY(WorkingFolder::write(kFile, first + within + beyond + exactly + last));
    scene->loadMarks(0);
    QCOMPARE(linesOf(*scene), (QStringList{QStringLiteral("HLine #00ff00 1 1 | 5 6"),
                                           QStringLiteral("HLine #00ff00 1 1 | 1 2"),
                                           QStringLiteral("VLine #00ff00 1 1 | 7 8")}));
}

void TestMarkFile::nothingInAnEmptyScene() {
    InteractiveScene empty(nullptr, 1);
    QVERIFY(WorkingFolder::write(kFile, "HLine #00ff00 1 1 | 5 6\r\n"));
    empty.saveMarks(0);
    QCOMPARE(WorkingFolder::read(kFile), QByteArray("HLine #00ff00 1 1 | 5 6\r\n"));
    empty.loadMarks(0);
    QVERIFY(empty.items().isEmpty());
}

void TestMarkFile::noMarksMakeAnEmptyFile() {
    QVERIFY(WorkingFolder::write(kFile, "something"));
    scene->saveMarks(0);
    QVERIFY(QFile::exists(kFile));
    QCOMPARE(QFileInfo(kFile).size(), 0);
}

void TestMarkFile::disabledMarksAndOverlaysAreLeftOut() {
    QVERIFY(WorkingFolder::write(kFile, "HLine #00ff00 1 1 | 5 6\r\nVLine #00ff00 1 1 | 7 8\r\n"));
    scene->loadMarks(0);
    scene->setMode(10);
    scene->setMode(11);
    scene->setMode(0);
    QCOMPARE(marksIn(*scene).size(), 4);
    for (Mark* mark : marksIn(*scene)) {
        if (mark->toolTip() == QLatin1String("Horizontal Line Mark"))
            mark->setEnabled(false);
    }
    QCOMPARE(linesOf(*scene), QStringList{QStringLiteral("VLine #00ff00 1 1 | 7 8")});
}

void TestMarkFile::oldFileSurvivesAFailedWrite() {
    QVERIFY(WorkingFolder::write(kFile, "HLine #00ff00 1 1 | 5 6\r\n"));
    scene->loadMarks(0);
    // A folder of that name cannot be replaced: the write fails, which is only logged.
    QVERIFY(QDir().mkdir(QStringLiteral("mark3.txt")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("mark3\\.txt was not written: .+")));
    scene->saveMarks(3);
    QVERIFY(QFileInfo(QStringLiteral("mark3.txt")).isDir());
#ifdef HAS_FULL_DISK
    {
        const FullDisk full(10);
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("mark0\\.txt was not written: .+")));
        scene->saveMarks(0);
    }
#endif
    QCOMPARE(WorkingFolder::read(kFile), QByteArray("HLine #00ff00 1 1 | 5 6\r\n"));
    QCOMPARE(QDir().entryList(QDir::Files), QStringList{kFile});
}

void TestMarkFile::tellsWhatWentWrong() {
    QCOMPARE(scene->saveMarks(0), QString());
    QVERIFY(QFile::exists(kFile));
    QVERIFY(QDir().mkdir(QStringLiteral("mark3.txt")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("mark3\\.txt was not written: .+")));
    QVERIFY(scene->saveMarks(3).startsWith(QStringLiteral("Marks not written")));
    // Nothing to write is no failure.
    InteractiveScene empty(nullptr, 1);
    QCOMPARE(empty.saveMarks(3), QString());
}

/// More than anybody places; a file can hold them all the same.
void TestMarkFile::atMostTenThousandMarks() {
    const QByteArray mark = "HLine #00ff00 1 0 | 5 6\r\n";
    const QByteArray noMark = "nothing\r\n";
    QVERIFY(WorkingFolder::write(
        kFile, mark.repeated(9999) + noMark.repeated(5) + "VLine #00ff00 1 0 | 5 6\r\n" + noMark));
    scene->loadMarks(0);  // and not a word: no mark is left over
    QCOMPARE(scene->markCount(), 10000);
    QVERIFY(linesOf(*scene).last().startsWith(QLatin1String("VLine")));
    QFile file(kFile);
    QVERIFY(file.open(QIODevice::Append));
    file.write("Line #00ff00 1 0 | 5 6 7 8\r\n" + mark.repeated(20000));
    file.close();
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("^Only the first 10000 marks of .*mark0\\.txt")));
    scene->loadMarks(0);
    QCOMPARE(scene->markCount(), 10000);
    QVERIFY(linesOf(*scene).last().startsWith(QLatin1String("VLine")));
}

void TestMarkFile::missingFileClears() {
    QVERIFY(WorkingFolder::write(kFile, "HLine #00ff00 1 1 | 5 6\r\n"));
    scene->loadMarks(0);
    scene->setMode(10);
    scene->setMode(0);
    QVERIFY(QFile::remove(kFile));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("mark0\\.txt was not read: .+")));
    scene->loadMarks(0);
    QVERIFY(marksIn(*scene).isEmpty());
}

void TestMarkFile::crossHairsAreAnnouncedInOrder() {
    QSignalSpy finished(scene.get(), &InteractiveScene::finished);
    QVERIFY(WorkingFolder::write(kFile,
                                 "Coordinates #0000ff 1 1 | 1.5 2\r\nHLine #00ff00 1 1 | 5 6\r\n"
                                 "Coordinates #0000ff 1 1 | 3 4\r\n"));
    scene->loadMarks(0);
    QCOMPARE(finished.count(), 2);
    QCOMPARE(finished[0].mid(0, 3), (QVariantList{1.5, 2.0, 7}));
    QCOMPARE(finished[1].mid(0, 3), (QVariantList{3.0, 4.0, 7}));
}

void TestMarkFile::announcedBeforeItIsInTheScene() {
    bool wasInScene = true;
    connect(scene.get(), &InteractiveScene::finished, this, [&](double, double, int, Mark* mark) {
        wasInScene = mark->scene() != nullptr;
        scene->removeMark(mark);  // not in the list yet: nothing happens
    });
    QVERIFY(WorkingFolder::write(kFile, "Coordinates #0000ff 1 1 | 1.5 2\r\n"));
    scene->loadMarks(0);
    QVERIFY(!wasInScene);
    QCOMPARE(marksIn(*scene).size(), 1);
}

/// As the window does that keeps only so many corners.
void TestMarkFile::listenerMayRemoveOlderMarks() {
    QList<Mark*> known;
    connect(scene.get(), &InteractiveScene::finished, this, [&](double, double, int, Mark* mark) {
        known.append(mark);
        if (known.size() > 1)
            scene->removeMark(known.takeFirst());
    });
    QVERIFY(WorkingFolder::write(kFile, QByteArray("Coordinates #0000ff 1 1 | 1 2\r\n").repeated(5) +
                                            "Coordinates #0000ff 1 1 | 8 9\r\n"));
    scene->loadMarks(0);
    QCOMPARE(linesOf(*scene), QStringList{QStringLiteral("Coordinates #0000ff 1 1 | 8 9")});
}

void TestMarkFile::loadingWhileACrossHairIsPlaced() {
    QVERIFY(WorkingFolder::write(kFile, "HLine #00ff00 1 1 | 5 6\r\n"));
    scene->loadMarks(0);
    scene->setMode(7);
    BoxAnswerer answerer;
    scene->loadMarks(0);
    QCOMPARE(answerer.boxes.size(), 1);
    QCOMPARE(answerer.boxes[0].icon, QMessageBox::Warning);
    QCOMPARE(answerer.boxes[0].title, QStringLiteral("Warning"));
    QCOMPARE(answerer.boxes[0].text, QStringLiteral("Please finish the current action first."));
    QCOMPARE(answerer.boxes[0].buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(linesOf(*scene), (QStringList{QStringLiteral("HLine #00ff00 1 1 | 5 6"),
                                           QStringLiteral("HLine #00ff00 1 1 | 5 6")}));
}

void TestMarkFile::textLine() {
    const QString line = QStringLiteral("Text #00ff00 2 1 | 10.5 20 110 -30 | 1 HH:mm 1 free 1 3 4 2.5");
    const auto text = TextMark::fromText(line, scene.get());
    QVERIFY(text);
    QCOMPARE(text->toText(), line);
    QCOMPARE(text->markType, 10);
    QCOMPARE(text->zValue(), 5.0);
    // A switch is on when it is not 0.
    const auto on = TextMark::fromText(
        QStringLiteral("Text #00ff00 2 1 | 10.5 20 110 -30 | 2 HH:mm -1 free 7 3 4 2.5"), scene.get());
    QCOMPARE(on->toText(), line);
    QVERIFY(!TextMark::fromText(line.section(QLatin1Char(' '), 0, -2), scene.get()));  // 17 fields
    QVERIFY(!TextMark::fromText(QStringLiteral("text") + line.mid(4), scene.get()));
    QVERIFY(!TextMark::fromText(QStringLiteral("x ") + line, scene.get()));
    QVERIFY(!TextMark::fromText(QString(), scene.get()));
}

/// Fields are taken by their position, wherever spaces and empty texts have moved them.
void TestMarkFile::textLineIsReadByPosition() {
    TextMark fresh(scene.get());
    fresh.showBarcode();
    fresh.setBarcode(QStringLiteral("4711"));
    const QString line = fresh.toText();
    QCOMPARE(line, QStringLiteral("Text #ff0000 1 1 | 0 0 0 0 | 0 yyyy-MM-dd HH:mm:ss 0  1 0 0 0"));
    const auto read = TextMark::fromText(line, scene.get());
    QVERIFY(read);
    // Read once more, as after placing a restored overlay and another restart: still there.
    QVERIFY(TextMark::fromText(read->toText(), scene.get()));
    // The format has lost its time, which is now the free text's switch; the barcode's is where it belongs.
    QCOMPARE(read->toText(), QStringLiteral("Text #ff0000 1 1 | 0 0 0 0 | 0 yyyy-MM-dd 0 0 1 0 0 0"));
    // A format without a space leaves a line that is one field short.
    TextMark short_(scene.get());
    short_.showDateTime(QStringLiteral("HH:mm"));
    QVERIFY(!TextMark::fromText(short_.toText(), scene.get()));
}

void TestMarkFile::dateTimeFormatIsMended() {
    TextMark fresh(scene.get());
    fresh.showDateTime(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    scene->setDateTimeFormat(QStringLiteral("dd.MM. HH:mm"));
    scene->restoreDateTimeMark(fresh.toText());
    const auto marks = marksIn(*scene);
    QCOMPARE(marks.size(), 1);
    QVERIFY(marks[0]->toText().contains(QStringLiteral("| 1 dd.MM. HH:mm 0 ")));
    QCOMPARE(marks[0]->markType, 10);  // until it is placed again
    QCOMPARE(static_cast<int>(marks[0]->flags()), 0x803);
    // An overlay that is there takes the format too, whatever the line.
    scene->setDateTimeFormat(QStringLiteral("HH mm"));
    scene->restoreDateTimeMark(QString());
    QVERIFY(marks[0]->toText().contains(QStringLiteral("| 1 HH mm 0 ")));
}

void TestMarkFile::overlaysAreNotReplaced() {
    const QString one = QStringLiteral("Text #00ff00 1 1 | 1 1 0 0 | 0 x 0 y 1 0 0 0");
    const QString two = QStringLiteral("Text #00ff00 1 1 | 2 2 0 0 | 0 x 0 y 1 0 0 0");
    scene->restoreBarcodeMark(QString());
    scene->restoreBarcodeMark(QStringLiteral("Text #00ff00"));
    scene->restoreDateTimeMark(QStringLiteral("nonsense"));
    QVERIFY(marksIn(*scene).isEmpty());
    scene->restoreBarcodeMark(one);
    scene->restoreBarcodeMark(two);
    QCOMPARE(marksIn(*scene).size(), 1);
    QCOMPARE(marksIn(*scene)[0]->toText(), one);
    QCOMPARE(static_cast<int>(marksIn(*scene)[0]->flags()), 0x803);
    scene->restoreDateTimeMark(two);
    scene->restoreDateTimeMark(one);
    QCOMPARE(marksIn(*scene).size(), 2);
    QVERIFY(marksIn(*scene)[1]->toText().startsWith(QStringLiteral("Text #00ff00 1 1 | 2 2 ")));
}

/// What is read has the kind that files and programs know: an upright line is a line's.
void TestMarkFile::kinds() {
    const struct {
        const char* line;
        int kind;
    } table[] = {{"HLine #00ff00 1 1 | 5 6", 6},           {"VLine #00ff00 1 1 | 5 6", 1},
                 {"Line #00ff00 1 1 | 5 6 7 8", 1},        {"Arc #00ff00 1 1 | 1 2 3 4 5 6", 4},
                 {"Rectangle #00ff00 1 1 0 | 1 2 3 4", 3}, {"Circle #00ff00 1 1 | 1 2 3 4 5 6", 2},
                 {"Coordinates #00ff00 1 1 | 5 6", 7},     {"Polygon #00ff00 1 1 1 | 5 6 ", 8},
                 {"Ellipse #00ff00 1 1 0 | 1 2 3 4", 9}};
    for (const auto& row : table)
        QCOMPARE(markFromLine(QString::fromLatin1(row.line), scene.get())->markType, row.kind);
    QVERIFY(markFromLine(QStringLiteral("VLine #00ff00 1 1 | 5 6"), scene.get())
                ->toText()
                .startsWith(QStringLiteral("VLine ")));
}

void TestMarkFile::documentedLines_data() {
    QTest::addColumn<QString>("page");
    QTest::newRow("English") << QStringLiteral("en");
    QTest::newRow("Chinese") << QStringLiteral("zh");
}

/// The file that the guide shows in both languages is one, and has every kind.
void TestMarkFile::documentedLines() {
    QFETCH(QString, page);
    QFile document(QStringLiteral(GUIDE "/%1/marks.md").arg(page));
    QVERIFY(document.open(QIODevice::ReadOnly));
    QString file = QString::fromUtf8(document.readAll()).section(QStringLiteral("```\n"), 1, 1);
    file.replace(QLatin1Char('\n'), QStringLiteral("\r\n"));
    QCOMPARE(file.count(QLatin1Char('\n')), 9);
    QVERIFY(WorkingFolder::write(kFile, file.toLatin1()));
    scene->loadMarks(0);
    scene->saveMarks(0);
    QCOMPARE(QString::fromLatin1(WorkingFolder::read(kFile)), file);
}

void TestMarkFile::keptInputs_data() {
    QTest::addColumn<QString>("target");
    QTest::newRow("lines") << QStringLiteral("fuzz_markline");
    QTest::newRow("files") << QStringLiteral("fuzz_markfile");
}

/// What the fuzzers have found worth keeping, on every build and with every sanitizer: load, paint, save,
/// load again.
void TestMarkFile::keptInputs() {
    QFETCH(QString, target);
    QDirIterator inputs(QStringLiteral(FUZZ_CORPUS "/") + target, QDir::Files);
    QVERIFY(inputs.hasNext());
    while (inputs.hasNext()) {
        QFile input(inputs.next());
        QVERIFY(input.open(QIODevice::ReadOnly));
        QByteArray content = input.readAll();
        if (target == QLatin1String("fuzz_markline"))
            content.remove(0, 1);  // there the first byte is a zoom
        QVERIFY(WorkingFolder::write(kFile, content));
        scene->loadMarks(0);
        scene->saveMarks(0);
        const QByteArray saved = WorkingFolder::read(kFile);
        rendered(*scene);
        scene->loadMarks(0);
        scene->saveMarks(0);
        QCOMPARE(WorkingFolder::read(kFile), saved);
    }
}

QTEST_MAIN(TestMarkFile)
#include "tst_markfile.moc"
