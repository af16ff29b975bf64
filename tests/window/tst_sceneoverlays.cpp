// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include "marks/coordinatesmark.h"
#include "marks/interactivescene.h"
#include "marks/textmark.h"
#include "support/sceneview.h"

/// Overlays in a view: placing them, and typing barcodes as a reader does.
class TestSceneOverlays : public QObject, private SceneView {
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void cleanup() { tearDown(); }
    void overlaysArePlaced();
    void overlayPlacedAgain();
    void barcodeIsTyped();
    void barcodeEnter();
    void backspaceAndOtherKeys();
    void noBarcodeOverlayNoTyping();
    void keysWhileAnOverlayIsPlacedAreNotCollected();
    void returnWithNothingTyped();
    void overlayClearedByTheListener();
    void stuckKeyIsBounded();
    void nudgedAndTyped();
    void overlayShowsWhatIsTyped();
    void longCodesAreWhole();
};

void TestSceneOverlays::overlaysArePlaced() {
    scene->setDateTimeFormat(QStringLiteral("HH"));
    scene->setMode(10);
    QCOMPARE(texts().size(), 1);
    click({50, 300});
    QCOMPARE(finished->count(), 1);
    QCOMPARE(finished->at(0).mid(0, 3), (QVariantList{50.0, 300.0, 10}));
    scene->setMode(11);
    click({60, 400});
    QCOMPARE(finished->count(), 2);
    QCOMPARE(finished->at(1).mid(0, 3), (QVariantList{60.0, 400.0, 11}));
    for (const int index : {0, 1}) {
        const auto* mark = finished->at(index)[3].value<Mark*>();
        QCOMPARE(mark->zValue(), 1000.0);
        QCOMPARE(static_cast<int>(mark->flags()), 0x803);
        QCOMPARE(mark->markType, 10 + index);
    }
    QVERIFY(texts()[0].startsWith(QStringLiteral("Text #ff0000 1 1 | 50 300 ")));
    QVERIFY(texts()[1].contains(QStringLiteral("| 1 HH 0 ")));
    // Placed: the next click places nothing.
    click({10, 10});
    QCOMPARE(finished->count(), 2);
    QVERIFY(scene->markCount() == 0);
}

void TestSceneOverlays::overlayPlacedAgain() {
    scene->restoreDateTimeMark(QStringLiteral("Text #ff0000 1 1 | 1 1 0 0 | 1 x 0 y 0 0 0 0"));
    scene->setDateTimeFormat(QStringLiteral("mm"));
    scene->setMode(11);
    QCOMPARE(texts().size(), 1);
    click({60, 300});
    QCOMPARE(texts().size(), 1);
    QVERIFY(texts()[0].startsWith(QStringLiteral("Text #ff0000 1 1 | 60 300 ")));
    QVERIFY(texts()[0].contains(QStringLiteral("| 1 mm 0 ")));
    QCOMPARE(finished->first()[3].value<Mark*>()->markType, 11);
    // Typed so far is gone when the barcode is placed anew.
    scene->setMode(10);
    scene->setMode(0);
    type("old");
    scene->setMode(10);
    scene->setMode(0);
    type("new\n");
    QCOMPARE(scanned->last().first().toString(), QStringLiteral("new"));
}

void TestSceneOverlays::barcodeIsTyped() {
    scene->setMode(10);
    click({50, 300});
    type("4006381333931");
    QCOMPARE(scanned->count(), 0);
    key(Qt::Key_Return);
    QCOMPARE(scanned->count(), 1);
    QCOMPARE(scanned->first().first().toString(), QStringLiteral("4006381333931"));
    type("Ab-1 %2");
    key(Qt::Key_Return);
    QCOMPARE(scanned->last().first().toString(), QStringLiteral("Ab-1 %2"));
}

void TestSceneOverlays::barcodeEnter() {
    scene->setMode(10);
    click({50, 300});
    type("77");
    key(Qt::Key_Enter);
    QCOMPARE(scanned->count(), 1);
    QCOMPARE(scanned->first().first().toString(), QStringLiteral("77"));
}

void TestSceneOverlays::backspaceAndOtherKeys() {
    scene->setMode(10);
    click({50, 300});
    key(Qt::Key_Backspace);
    type("12");
    key(Qt::Key_Backspace);
    key(Qt::Key_Shift);
    key(Qt::Key_Left);
    type("3\n");
    QCOMPARE(scanned->first().first().toString(), QStringLiteral("13"));
}

void TestSceneOverlays::noBarcodeOverlayNoTyping() {
    type("123\n");
    QCOMPARE(scanned->count(), 0);
    scene->setMode(11);  // a date-time overlay collects nothing
    click({50, 300});
    type("123\n");
    QCOMPARE(scanned->count(), 0);
}

void TestSceneOverlays::keysWhileAnOverlayIsPlacedAreNotCollected() {
    scene->setMode(10);
    type("123\n");
    QCOMPARE(scanned->count(), 0);
    click({50, 300});
    type("4\n");
    QCOMPARE(scanned->first().first().toString(), QStringLiteral("4"));
}

void TestSceneOverlays::returnWithNothingTyped() {
    scene->setMode(10);
    click({50, 300});
    key(Qt::Key_Return);
    QCOMPARE(scanned->count(), 1);
    QCOMPARE(scanned->first().first().toString(), QString());
}

/// A listener that shows a box lets people clear the marks before it returns.
void TestSceneOverlays::overlayClearedByTheListener() {
    scene->setMode(10);
    click({50, 300});
    connect(scene.get(), &InteractiveScene::scanned, scene.get(), &InteractiveScene::clearMarks);
    type("12\n");
    QVERIFY(texts().isEmpty());
}

void TestSceneOverlays::stuckKeyIsBounded() {
    scene->setMode(10);
    click({50, 300});
    QKeyEvent stuck(QEvent::KeyPress, Qt::Key_1, Qt::NoModifier, QStringLiteral("1"), true);
    for (int i = 0; i < 6000; ++i)
        QCoreApplication::sendEvent(scene.get(), &stuck);
    key(Qt::Key_Return);
    QVERIFY(scanned->first().first().toString().size() < 5000);
}

/// With a barcode overlay, letters that move the grabbed cross-hair are typed as well.
void TestSceneOverlays::nudgedAndTyped() {
    scene->setMode(10);
    click({50, 300});
    auto* mark = static_cast<CoordinatesMark*>(place({400, 100}));
    click({400, 100});
    type("AD\n");
    QCOMPARE(mark->point(), QPointF(400, 100));
    type("W\n");
    QCOMPARE(mark->point(), QPointF(400, 99));
    QCOMPARE(scanned->at(0).first().toString(), QStringLiteral("AD"));
    QCOMPARE(scanned->at(1).first().toString(), QStringLiteral("W"));
}

void TestSceneOverlays::overlayShowsWhatIsTyped() {
    scene->setMode(10);
    click({50, 300});
    TextMark* overlay = nullptr;
    for (QGraphicsItem* item : scene->items()) {
        if (auto* text = dynamic_cast<TextMark*>(item))
            overlay = text;
    }
    QVERIFY(overlay);
    QCOMPARE(overlay->text(), QStringLiteral("########"));
    type("12");
    QCOMPARE(overlay->text(), QStringLiteral("12"));
    key(Qt::Key_Backspace);
    QCOMPARE(overlay->text(), QStringLiteral("1"));
    key(Qt::Key_Return);
    QCOMPARE(overlay->text(), QStringLiteral("1"));  // until the next code begins
    type("9");
    QCOMPARE(overlay->text(), QStringLiteral("9"));
    key(Qt::Key_Backspace);
    QCOMPARE(overlay->text(), QStringLiteral("########"));
    type("77");
    scene->setMode(10);
    QCOMPARE(overlay->text(), QStringLiteral("########"));
    scene->setMode(0);
    key(Qt::Key_Return);
    QCOMPARE(scanned->last().first().toString(), QString());
    QCOMPARE(overlay->text(), QStringLiteral("########"));
}

void TestSceneOverlays::longCodesAreWhole() {
    scene->setMode(10);
    click({50, 300});
    // As many as the densest code holds.
    const QString code = QStringLiteral("0123456789").repeated(429) + QStringLiteral("012345");
    for (const QChar digit : code) {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_0, Qt::NoModifier, QString(digit));
        QCoreApplication::sendEvent(scene.get(), &press);
    }
    key(Qt::Key_Return);
    QCOMPARE(scanned->first().first().toString(), code);
}

QTEST_MAIN(TestSceneOverlays)
#include "tst_sceneoverlays.moc"
