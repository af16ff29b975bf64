// SPDX-License-Identifier: Apache-2.0
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QtTest>

#include "support/settingdialogfixture.h"

/// Every control of the settings dialog's second page: what it shows and what is on disk.
class TestCapturePage : public QObject, private SettingDialogFixture {
    Q_OBJECT

private slots:
    void initTestCase();
    void init() { setUp(); }
    void cleanup() { tearDown(); }
    void fileOptionsAreLoaded();
    void fileOptionsHaveDefaults();
    void unknownType();
    void typeIsWritten_data();
    void typeIsWritten();
    void qualityIsWritten();
    void delay_data();
    void delay();
    void unknownPortStays();
    void portIsWritten();
    void dateTimeFormat();
    void passingFocusWritesNothing();
    void choicesHoldWithADamagedFile();
    void saveAndFreeze();
    void pathIsChosen();
    void pathIsKeptWhenCancelled();

private:
    void answerChooser(const QString& choose);
};

void TestCapturePage::initTestCase() {
    // The system's own folder chooser cannot be answered from here.
    QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
}

void TestCapturePage::fileOptionsAreLoaded() {
    build({2},
          "[File]\nPath=/data/out\nType=2\nQuality=42\nPort=COM3\nDelay=250\nDTFormat=dd.MM HH:mm\n"
          "SaveCaptured=false\nFreezeImage=true\n");
    dialog->loadFileOptions();
    QCOMPARE(control<QLineEdit>("leSavePath")->text(), QStringLiteral("/data/out"));
    QVERIFY(control<QRadioButton>("rbPNG")->isChecked());
    QCOMPARE(slider("sdQuality")->value(), 42);
    QCOMPARE(control<QLineEdit>("leQuality")->text(), QStringLiteral("42"));
    QCOMPARE(control<QComboBox>("cbCom")->currentText(), QStringLiteral("COM3"));
    QCOMPARE(control<QLineEdit>("leDelaySave")->text(), QStringLiteral("250"));
    QCOMPARE(dialog->saveDelay(), 250);
    QCOMPARE(control<QLineEdit>("leDTFormat")->text(), QStringLiteral("dd.MM HH:mm"));
    QVERIFY(!control<QCheckBox>("chkSave")->isChecked());
    QVERIFY(!dialog->isSaveCaptured());
    QVERIFY(dialog->isFreezeImage());
}

void TestCapturePage::fileOptionsHaveDefaults() {
    dialog->loadFileOptions();
    QCOMPARE(control<QLineEdit>("leSavePath")->text(), QStringLiteral("."));
    QVERIFY(control<QRadioButton>("rbJPG")->isChecked());
    QCOMPARE(slider("sdQuality")->value(), 75);
    QCOMPARE(control<QComboBox>("cbCom")->currentIndex(), 0);
    QStringList ports;
    for (int i = 0; i < control<QComboBox>("cbCom")->count(); ++i)
        ports.append(control<QComboBox>("cbCom")->itemText(i));
    QCOMPARE(ports, (QStringList{QString(), QStringLiteral("COM0"), QStringLiteral("COM1"),
                                 QStringLiteral("COM2"), QStringLiteral("COM3"), QStringLiteral("COM4")}));
    QCOMPARE(dialog->saveDelay(), 0);
    QCOMPARE(control<QLineEdit>("leDTFormat")->text(), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    QVERIFY(dialog->isSaveCaptured());
    QVERIFY(!dialog->isFreezeImage());
}

void TestCapturePage::unknownType() {
    dialog->loadFileOptions();
    WorkingFolder::setKey(QStringLiteral("File/Type"), 3);
    settings->flush();
    dialog->loadFileOptions();
    for (const char* name : {"rbBMP", "rbJPG", "rbPNG"})
        QVERIFY2(!control<QRadioButton>(name)->isChecked(), name);
    // A person chooses one, and only one.
    control<QRadioButton>("rbBMP")->click();
    control<QRadioButton>("rbPNG")->click();
    QVERIFY(!control<QRadioButton>("rbBMP")->isChecked());
    QCOMPARE(disk("File/Type"), QStringLiteral("2"));
}

void TestCapturePage::typeIsWritten_data() {
    QTest::addColumn<QString>("type");
    QTest::newRow("rbBMP") << QStringLiteral("0");
    QTest::newRow("rbJPG") << QStringLiteral("1");
    QTest::newRow("rbPNG") << QStringLiteral("2");
}

void TestCapturePage::typeIsWritten() {
    dialog->loadFileOptions();
    control<QRadioButton>(QTest::currentDataTag())->click();
    QTEST(disk("File/Type"), "type");
}

void TestCapturePage::qualityIsWritten() {
    dialog->loadFileOptions();
    slider("sdQuality")->setValue(13);
    QCOMPARE(disk("File/Quality"), QStringLiteral("13"));
    QCOMPARE(control<QLineEdit>("leQuality")->text(), QStringLiteral("13"));
}

void TestCapturePage::delay_data() {
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("delay");
    QTest::newRow("number") << QStringLiteral("350") << 350;
    QTest::newRow("no number") << QStringLiteral("abc") << 0;
    QTest::newRow("empty") << QString() << 0;
    QTest::newRow("negative") << QStringLiteral("-7") << -7;
    QTest::newRow("too large") << QStringLiteral("99999999999") << 0;
}

void TestCapturePage::delay() {
    QFETCH(QString, typed);
    QFETCH(int, delay);
    dialog->loadFileOptions();
    auto* field = control<QLineEdit>("leDelaySave");
    field->selectAll();
    if (typed.isEmpty())
        QTest::keyClick(field, Qt::Key_Delete);
    QTest::keyClicks(field, typed);
    QVERIFY(disk("File/Delay").isNull());  // not before the entry is over
    QTest::keyClick(field, Qt::Key_Return);
    QCOMPARE(disk("File/Delay"), QString::number(delay));
    QCOMPARE(dialog->saveDelay(), delay);
}

void TestCapturePage::unknownPortStays() {
    build({2}, "[File]\nPort=COM7\n");
    dialog->loadFileOptions();
    settings->flush();
    QCOMPARE(control<QComboBox>("cbCom")->count(), 6);
    QCOMPARE(control<QComboBox>("cbCom")->currentIndex(), 0);
    QCOMPARE(disk("File/Port"), QStringLiteral("COM7"));
}

void TestCapturePage::portIsWritten() {
    dialog->loadFileOptions();
    control<QComboBox>("cbCom")->setCurrentIndex(3);
    QCOMPARE(disk("File/Port"), QStringLiteral("COM2"));
    control<QComboBox>("cbCom")->setCurrentIndex(0);
    QCOMPARE(disk("File/Port"), QString());
    QCOMPARE(settings->read(keys::kPort), QString());
}

void TestCapturePage::dateTimeFormat() {
    dialog->loadFileOptions();
    QSignalSpy changed(dialog.get(), &SettingDialog::dateTimeFormatChanged);
    auto* field = control<QLineEdit>("leDTFormat");
    field->selectAll();
    QTest::keyClicks(field, QStringLiteral("HH:mm"));
    QCOMPARE(changed.count(), 0);
    QTest::keyClick(field, Qt::Key_Return);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.first().first().toString(), QStringLiteral("HH:mm"));
    QCOMPARE(disk("File/DTFormat"), QStringLiteral("HH:mm"));
    QCOMPARE(dialog->overlayFormat(), QStringLiteral("HH:mm"));
}

/// What is chosen holds for this run, for the dialog and for whoever reads the file, and the file stays.
void TestCapturePage::choicesHoldWithADamagedFile() {
    const QByteArray words = "to be filled in\n";
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be understood")));
    build({2}, words);
    dialog->loadFileOptions();
    control<QRadioButton>("rbPNG")->click();
    slider("sdQuality")->setValue(13);
    control<QCheckBox>("chkSave")->click();
    QCOMPARE(settings->read(keys::kType), 2);
    dialog->loadFileOptions();
    QVERIFY(control<QRadioButton>("rbPNG")->isChecked());
    QCOMPARE(slider("sdQuality")->value(), 13);
    QVERIFY(!settings->read(keys::kSaveCaptured));
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), words);
}

/// The focus that only passes by is no entry.
void TestCapturePage::passingFocusWritesNothing() {
    const QByteArray ini = "[File]\nDelay=soon\n";
    build({2}, ini);
    dialog->loadFileOptions();
    dialog->show();
    QVERIFY(QTest::qWaitForWindowActive(dialog.get()));
    dialog->findChild<QTabWidget*>()->setCurrentIndex(1);
    for (const char* name : {"leDelaySave", "leDTFormat", "leDelaySave"}) {
        control<QLineEdit>(name)->setFocus();
        QVERIFY(control<QLineEdit>(name)->hasFocus());
    }
    QTest::keyClick(control<QLineEdit>("leDelaySave"), Qt::Key_Return);
    settings->flush();
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), ini);
}

void TestCapturePage::saveAndFreeze() {
    control<QCheckBox>("chkSave")->click();
    QVERIFY(!dialog->isSaveCaptured());
    QCOMPARE(disk("File/SaveCaptured"), QStringLiteral("false"));
    control<QCheckBox>("chkSave")->click();
    QVERIFY(dialog->isSaveCaptured());
    QCOMPARE(disk("File/SaveCaptured"), QStringLiteral("true"));
    dialog->setFreezeImage(true);
    QVERIFY(dialog->isFreezeImage());
    QCOMPARE(disk("File/FreezeImage"), QStringLiteral("true"));
    dialog->setFreezeImage(false);
    QVERIFY(!dialog->isFreezeImage());
    QCOMPARE(disk("File/FreezeImage"), QStringLiteral("false"));
}

/// Answers the directory chooser: takes `choose`, or cancels.
void TestCapturePage::answerChooser(const QString& choose) {
    QTimer timer;
    bool seen = false;
    timer.callOnTimeout([&] {
        auto* chooser = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (!chooser || !chooser->isVisible() || seen)
            return;
        seen = true;
        QCOMPARE(chooser->windowTitle(), QStringLiteral("Open Directory"));
        QVERIFY(chooser->testOption(QFileDialog::ShowDirsOnly));
        QCOMPARE(QDir(chooser->directory()).canonicalPath(), QDir(folder->path()).canonicalPath());
        if (choose.isEmpty()) {
            chooser->reject();
        } else {
            QDir::setCurrent(choose);  // as the system's own chooser may
            chooser->setDirectory(choose);
            chooser->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(choose);
            QMetaObject::invokeMethod(chooser, "accept");
        }
    });
    timer.start(20);
    control<QPushButton>("btnSelectPath")->click();
    QVERIFY(seen);
}

void TestCapturePage::pathIsChosen() {
    dialog->loadFileOptions();
    QVERIFY(QDir().mkdir(QStringLiteral("out")));
    const QString out = QDir(QStringLiteral("out")).absolutePath();
    const QString workingFolder = QDir::currentPath();
    answerChooser(out);
    QCOMPARE(QDir::currentPath(), workingFolder);
    QCOMPARE(control<QLineEdit>("leSavePath")->text(), out);
    QCOMPARE(disk("File/Path"), out);
}

void TestCapturePage::pathIsKeptWhenCancelled() {
    dialog->loadFileOptions();
    answerChooser(QString());
    QCOMPARE(control<QLineEdit>("leSavePath")->text(), QStringLiteral("."));
    QVERIFY(disk("File/Path").isNull());
}

QTEST_MAIN(TestCapturePage)
#include "tst_capturepage.moc"
