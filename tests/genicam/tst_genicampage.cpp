// SPDX-License-Identifier: Apache-2.0
// The trouble table of docs/genicam.md has the log's own lines.
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

class TestGenicamPage : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        page_ = contentOf(QStringLiteral(SOURCE_FOLDER "/docs/genicam.md"));
        const QDir folder(QStringLiteral(SOURCE_FOLDER "/genicam"));
        for (const QString& name : folder.entryList({"*.cpp"}, QDir::Files)) {
            // A text that goes on in the next line, and what separates the parts of a line in the log.
            sources_ += contentOf(folder.filePath(name)).replace(QRegularExpression("\"\\s*\""), QString());
        }
        QVERIFY(!page_.isEmpty() && !sources_.isEmpty());
    }

    void linesOfThePageAreInTheSources() {
        const QStringList lines = linesOfThePage();
        QVERIFY(lines.size() > 10);
        for (const QString& line : lines) {
            for (QString part : line.split(QStringLiteral("…"))) {
                part.remove(QRegularExpression("^KVCap2: (camera)?|^ \\($|^\\)"));
                part = part.trimmed();
                part.remove(QRegularExpression("^: |\"$"));
                if (part.size() > 3)
                    QVERIFY2(sources_.contains(part), qPrintable(part + " is in no source: " + line));
            }
        }
    }

    void warningsOfTheSourcesAreOnThePage() {
        const QStringList lines = linesOfThePage();
        QRegularExpression warning("qWarning\\(\\s*\"((?:[^\"\\\\]|\\\\.)*)\"");
        int found = 0;
        for (auto match = warning.globalMatch(sources_); match.hasNext();) {
            const QString text = match.next().captured(1);
            // The longest piece between two values tells which one it is.
            QString longest;
            for (const QString& part : text.split(QRegularExpression("%[-+0-9.]*(?:l*[dsufx]|llu)"))) {
                if (part.size() > longest.size())
                    longest = part;
            }
            longest = longest.trimmed().left(30);
            ++found;
            if (longest.size() > 3)
                QVERIFY2(page_.contains(longest), qPrintable(longest + " is not on the page"));
        }
        QVERIFY(found > 5);
    }

private:
    static QString contentOf(const QString& name) {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    /// The first column of the table.
    QStringList linesOfThePage() const {
        const int from = page_.indexOf("## Trouble");
        const QString trouble = page_.mid(from, page_.indexOf("\nWithout a line", from) - from);
        QStringList lines;
        QRegularExpression row("^\\| `([^`]+)` \\|", QRegularExpression::MultilineOption);
        for (auto match = row.globalMatch(trouble); match.hasNext();)
            lines.append(match.next().captured(1));
        return lines;
    }

    QString page_, sources_;
};

QTEST_GUILESS_MAIN(TestGenicamPage)
#include "tst_genicampage.moc"
