#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QtTest>

#include "control/snapshot.h"
#include "support/workingfolder.h"

/// Names and pixels of saved pictures.
class TestSnapshot : public QObject {
    Q_OBJECT

private slots:
    void nameHoldsTheTime();
    void suffixFollowsTheType();
    void sceneIsRendered();
    void emptySceneIsNoPicture();
    void pictureIsWritten();
    void unknownFormatFails();
    void failureLeavesTheOldFile();
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

QTEST_MAIN(TestSnapshot)
#include "tst_snapshot.moc"
