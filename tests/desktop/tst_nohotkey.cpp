// SPDX-License-Identifier: Apache-2.0
// A Qt platform without an X server below: no hot key, no messages, and no crash.

#include "platform/desktop.h"
#include "platform/files.h"

#include <QTest>
#include <QWidget>

#include <cstdint>

class TestNoHotkey : public QObject {
    Q_OBJECT

private slots:
    void registeringFails();
    void unregisteringIsHarmless();
    void nothingIsRecognised_data();
    void nothingIsRecognised();
    void workingFolderFile();
};

void TestNoHotkey::registeringFails() {
    QWidget window;
    QVERIFY(!platform::registerSaveHotkey(window.winId(), {}).isEmpty());
    QVERIFY(!platform::registerSaveHotkey(window.winId(), {}).isEmpty());
    QVERIFY(!platform::registerSaveHotkey(0, {}).isEmpty());
}

void TestNoHotkey::unregisteringIsHarmless() {
    QWidget window;
    platform::unregisterSaveHotkey(window.winId());
    platform::unregisterSaveHotkey(0);
}

void TestNoHotkey::nothingIsRecognised_data() {
    QTest::addColumn<QByteArray>("eventType");
    QTest::addColumn<int>("responseType");
    // 33 is a client message, with the top bit one that a program sent; 2 is a key press.
    for (const char* type : {"xcb_generic_event_t", "windows_generic_MSG", "mac_generic_NSEvent", ""})
        for (const int response : {0, 2, 33, 33 | 0x80})
            QTest::addRow("%s %d", type, response) << QByteArray(type) << response;
}

void TestNoHotkey::nothingIsRecognised() {
    QFETCH(QByteArray, eventType);
    QFETCH(int, responseType);
    alignas(8) std::uint8_t event[64] = {};
    event[0] = static_cast<std::uint8_t>(responseType);
    event[1] = 32;
    QCOMPARE(int(platform::classify(eventType, event)), int(platform::NativeMessage::None));
    QCOMPARE(int(platform::classify(eventType, nullptr)), int(platform::NativeMessage::None));
}

void TestNoHotkey::workingFolderFile() {
    QCOMPARE(platform::workingFolderFile("setting.ini"), QString("./setting.ini"));
}

QTEST_MAIN(TestNoHotkey)
#include "tst_nohotkey.moc"
