// SPDX-License-Identifier: Apache-2.0
#include <QProcess>
#include <QXmlStreamReader>
#include <QtTest>

/// The Chinese translation is complete: collecting the texts of the sources anew finds none that it lacks and
/// none that is gone.
class TestTranslation : public QObject {
    Q_OBJECT

private slots:
    void everyTextIsTranslated();
};

void TestTranslation::everyTextIsTranslated() {
    QTemporaryDir folder;
    const QString copy = folder.filePath(QStringLiteral("tilecam_zh_CN.ts"));
    QVERIFY(QFile::copy(QStringLiteral(TRANSLATION), copy));
    QProcess lupdate;
    lupdate.start(QStringLiteral(LUPDATE), {QStringLiteral(SOURCES), QStringLiteral("-locations"),
                                            QStringLiteral("none"), QStringLiteral("-ts"), copy});
    QVERIFY(lupdate.waitForFinished());
    QCOMPARE(lupdate.exitCode(), 0);

    QFile file(copy);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    QString source;
    int messages = 0;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        if (xml.name() == QLatin1String("source")) {
            source = xml.readElementText();
        } else if (xml.name() == QLatin1String("translation")) {
            const QString type = xml.attributes().value(QStringLiteral("type")).toString();
            const QString text = xml.readElementText();
            QVERIFY2(type.isEmpty(), qPrintable(source + QStringLiteral(" is ") + type));
            QVERIFY2(!text.isEmpty(), qPrintable(source));
            // Places for values and mnemonics have to survive.
            for (const char* place : {"%1", "%2", "%3", "%4"})
                QCOMPARE(text.count(QLatin1String(place)), source.count(QLatin1String(place)));
            QCOMPARE(text.contains(QLatin1String("(&")), source.contains(QLatin1Char('&')));
            ++messages;
        }
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    QVERIFY(messages > 50);
}

QTEST_GUILESS_MAIN(TestTranslation)
#include "tst_translation.moc"
