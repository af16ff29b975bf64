// SPDX-License-Identifier: Apache-2.0
// The guide's trouble page has what the program says, in both languages.
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

class TestTroublePage : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void warnings_data() { pages(); }
    void warnings();
    void simulator_data() { pages(); }
    void simulator();
    void station_data() { pages(); }
    void station();
    void boxes_data() { pages(); }
    void boxes();
    void notes_data() { pages(); }
    void notes();
    void rowsOfBothLanguages();

private:
    static void pages();
    static QString contentOf(const QString& name);
    static QString sourcesIn(const QString& folder, const QStringList& names);
    static QStringList capturedBy(const char* pattern, const QString& text);
    static QString longestPiece(const QString& text);
    static QStringList textsOf(const QString& page);
    static void compare(const QStringList& texts, int atLeast);

    QString sources;  // what all messages are in
};

QString TestTroublePage::contentOf(const QString& name) {
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/// Texts that go on in the next line are one.
QString TestTroublePage::sourcesIn(const QString& folder, const QStringList& names) {
    static const QRegularExpression seam(QStringLiteral("\"\\s*\""));
    QString all;
    QDirIterator files(QStringLiteral(SOURCE_FOLDER "/") + folder, names, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext())
        all += contentOf(files.next()).replace(seam, QString()) + QLatin1Char('\n');
    return all;
}

QStringList TestTroublePage::capturedBy(const char* pattern, const QString& text) {
    QStringList found;
    const QRegularExpression expression{QLatin1String(pattern)};
    for (auto match = expression.globalMatch(text); match.hasNext();)
        found.append(match.next().captured(1));
    return found;
}

/// The longest part between two values tells which text it is.
QString TestTroublePage::longestPiece(const QString& text) {
    static const QRegularExpression value(QStringLiteral("%(?:[1-9]|[-+0-9.]*(?:l*[dsufx]|llu))"));
    QString longest;
    for (const QString& part : text.split(value)) {
        if (part.size() > longest.size())
            longest = part;
    }
    longest.replace(QStringLiteral("\\\""), QStringLiteral("\""));
    longest.remove(QStringLiteral("\\n"));
    return longest.trimmed();
}

/// The first column of its tables.
QStringList TestTroublePage::textsOf(const QString& page) {
    QStringList texts;
    for (const QString& line : page.split(QLatin1Char('\n'))) {
        if (line.startsWith(QStringLiteral("| ")))
            texts.append(line.section(QStringLiteral(" | "), 0, 0));
    }
    return texts;
}

void TestTroublePage::pages() {
    QTest::addColumn<QString>("language");
    QTest::newRow("English") << QStringLiteral("en");
    QTest::newRow("Chinese") << QStringLiteral("zh");
}

void TestTroublePage::compare(const QStringList& texts, int atLeast) {
    QFETCH(QString, language);
    const QString page = contentOf(QStringLiteral(SOURCE_FOLDER "/docs/guide/%1/trouble.md").arg(language));
    int compared = 0;
    QStringList missing;
    for (const QString& text : texts) {
        const QString piece = longestPiece(text);
        constexpr int kTellsNothing = 4;  // "%s: %s", "%1 days"
        if (piece.size() <= kTellsNothing)
            continue;
        ++compared;
        if (!page.contains(piece))
            missing.append(piece);
    }
    QVERIFY2(missing.isEmpty(),
             qPrintable(QStringLiteral("not on the page: ") + missing.join(QStringLiteral("; "))));
    QVERIFY2(compared >= atLeast, qPrintable(QString::number(compared)));
}

void TestTroublePage::initTestCase() {
    const QStringList code{QStringLiteral("*.cpp"), QStringLiteral("*.h")};
    sources = sourcesIn(QStringLiteral("src"), code) + sourcesIn(QStringLiteral("genicam"), code);
    QVERIFY(!sources.isEmpty());
}

void TestTroublePage::warnings() {
    compare(
        capturedBy("q(?:Warning|Critical)\\(\\s*\"((?:[^\"\\\\]|\\\\.)*)\"", sources) +
            capturedBy("q(?:Warning|Critical)\\(\\)(?:\\.noquote\\(\\))?\\s*<<\\s*(?:QStringLiteral\\(\\s*)?"
                       "\"((?:[^\"\\\\]|\\\\.)*)\"",
                       sources),
        70);
}

/// Of the library for simulated cameras: every text of a message, since a value comes between them.
void TestTroublePage::simulator() {
    const QString code =
        sourcesIn(QStringLiteral("simulator"), {QStringLiteral("*.cpp"), QStringLiteral("*.h")});
    QStringList texts;
    for (const QString& message : capturedBy("q(?:Warning|Critical)\\(([^;]*);", code))
        texts += capturedBy("\"((?:[^\"\\\\]|\\\\.)*)\"", message);
    texts.removeAll(QStringLiteral("KVCap2:"));
    compare(texts, 6);
}

/// What bivista-station says, whose values are the shell's.
void TestTroublePage::station() {
    QString script = contentOf(QStringLiteral(SOURCE_FOLDER "/packaging/linux/bivista-station.in"));
    script.replace(QRegularExpression(QStringLiteral("\\$(?:\\w+|\\{[^}]*\\})")), QStringLiteral("%s"));
    compare(capturedBy("\\btell \\d+ \"([^\"]*)\"", script), 14);
}

void TestTroublePage::boxes() {
    compare(
        capturedBy("QMessageBox::(?:information|warning|question)\\((?:[^;]|\\n)*?tr(?:anslate)?\\("
                   "(?:\"MainWindow\",\\s*)?\"(?:[^\"]*)\"\\),\\s*(?:QCoreApplication::)?tr(?:anslate)?\\("
                   "(?:\"MainWindow\",\\s*)?\"([^\"]*)\"",
                   sources) +
            capturedBy("QMessageBox box\\([^;]*tr\\(\"[^\"]*\"\\), tr\\(\"([^\"]*)\"", sources),
        7);
}

/// The notes of the status bar, and what the start says before there is a log.
void TestTroublePage::notes() {
    const QStringList files{
        QStringLiteral("savingcontroller.cpp"), QStringLiteral("calibrationcontroller.cpp"),
        QStringLiteral("calibration*.cpp"),     QStringLiteral("corner*.cpp"),
        QStringLiteral("interactivescene.cpp"), QStringLiteral("markfile.cpp"),
        QStringLiteral("settingsfile.cpp"),     QStringLiteral("settingvalue.cpp"),
        QStringLiteral("controllerline.cpp"),   QStringLiteral("scenepicture.cpp"),
        QStringLiteral("tilewatch.cpp"),        QStringLiteral("programlog.cpp"),
        QStringLiteral("onlyprogram.cpp"),      QStringLiteral("startfolder.cpp"),
        QStringLiteral("hotkey.cpp"),           QStringLiteral("desktop_*.cpp")};
    QStringList texts = capturedBy("QStringLiteral\\(\\s*\"((?:[^\"\\\\]|\\\\.)* (?:[^\"\\\\]|\\\\.)*)\"",
                                   sourcesIn(QStringLiteral("src"), files));
    const QStringList noTrouble{QStringLiteral("The log begins"), QStringLiteral("The log ends")};
    for (const QString& text : noTrouble)
        texts.removeAll(text);
    compare(texts, 40);
}

/// The texts are the program's own, so they are alike but for those that are translated on the screen.
void TestTroublePage::rowsOfBothLanguages() {
    const QStringList english = textsOf(contentOf(QStringLiteral(SOURCE_FOLDER "/docs/guide/en/trouble.md")));
    const QStringList chinese = textsOf(contentOf(QStringLiteral(SOURCE_FOLDER "/docs/guide/zh/trouble.md")));
    QVERIFY(english.size() > 100);
    QCOMPARE(chinese.size(), english.size());
    int alike = 0;
    for (int i = 0; i < english.size(); ++i)
        alike += english[i] == chinese[i] ? 1 : 0;
    QVERIFY2(alike > english.size() * 3 / 4, qPrintable(QString::number(alike)));
}

QTEST_GUILESS_MAIN(TestTroublePage)
#include "tst_troublepage.moc"
