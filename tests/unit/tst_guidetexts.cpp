// SPDX-License-Identifier: Apache-2.0
#include <QAction>
#include <QApplication>
#include <QFileInfo>
#include <QHash>
#include <QSet>
#include <QTranslator>
#include <QXmlStreamReader>
#include <QtTest>
#include <algorithm>

#include "app/measurebar.h"
#include "settings/settingkeys.h"
#include "support/guidepages.h"

/// The guide has every action, control and key, in both languages, and says the same in both: the same pages,
/// headings and pictures.
class TestGuideTexts : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void samePages();
    void sameHeadings();
    void samePictures();
    void everyControl_data() { languages(); }
    void everyControl();
    void everyMeasureAction_data() { languages(); }
    void everyMeasureAction();
    void everyShortcut_data() { languages(); }
    void everyShortcut();
    void keysAreThoseOfTheProgram();
    void everyKeyIsExplained();
    void theKeysTableHasItsPlace();

private:
    /// A text of a form that somebody sees.
    struct Control {
        QString form;
        QString object;
        QString text;
    };
    /// A block of keys.txt.
    struct Key {
        QString fallback;
        QHash<QString, QString> meaning;  // by language
    };

    static void languages();
    static QStringList pagesOf(const QString& language);
    static QString pageText(const QString& language, const QString& name);
    static QString allText(const QString& language);
    static QStringList picturesOf(const QString& text);
    static QString shown(QString text);
    QSet<QString> namedIn(const QString& language) const;
    void readForms();
    void readTranslation();
    void readKeys();

    QVector<Control> controls;
    QStringList shortcuts;
    QHash<QString, QString> chinese;  // by context, "|" and English text
    QHash<QString, Key> keyBlocks;
};

namespace {

const QString kGuide = QStringLiteral(PROJECT "/docs/guide");
const QString kSources = QStringLiteral(PROJECT "/src");

QString lines(const QStringList& list) {
    return QLatin1Char('\n') + list.join(QLatin1Char('\n'));
}

}  // namespace

void TestGuideTexts::languages() {
    QTest::addColumn<QString>("language");
    for (const QString& language : guide::kLanguages)
        QTest::newRow(qPrintable(language)) << language;
}

QStringList TestGuideTexts::pagesOf(const QString& language) {
    return guide::filesIn(kGuide + QLatin1Char('/') + language, QStringLiteral("md"));
}

QString TestGuideTexts::pageText(const QString& language, const QString& name) {
    return guide::contentOf(QStringLiteral("%1/%2/%3").arg(kGuide, language, name));
}

QString TestGuideTexts::allText(const QString& language) {
    QString all;
    const QStringList names = pagesOf(language);
    for (const QString& name : names)
        all += pageText(language, name) + QLatin1Char('\n');
    return all;
}

/// Without what makes a letter a key of its menu, and without what only leads the eye.
QString TestGuideTexts::shown(QString text) {
    static const QRegularExpression menuKey(QStringLiteral("\\(&.\\)|&"));
    static const QRegularExpression end(QStringLiteral("[:：…]+$"));
    return text.remove(menuKey).trimmed().remove(end);
}

void TestGuideTexts::initTestCase() {
    readForms();
    readTranslation();
    readKeys();
    QVERIFY2(controls.size() > 80, qPrintable(QString::number(controls.size())));
    QVERIFY2(chinese.size() > 80, qPrintable(QString::number(chinese.size())));
}

void TestGuideTexts::readForms() {
    const QStringList forms = guide::filesIn(kSources + QStringLiteral("/forms"), QStringLiteral("ui"));
    for (const QString& form : forms) {
        QFile file(kSources + QStringLiteral("/forms/") + form);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QXmlStreamReader xml(&file);
        QString className;
        QString object;
        QString property;
        while (!xml.atEnd()) {
            xml.readNext();
            if (!xml.isStartElement())
                continue;
            const QStringRef name = xml.name();
            if (name == QLatin1String("class") && className.isEmpty()) {
                className = xml.readElementText();
            } else if (name == QLatin1String("widget") || name == QLatin1String("action")) {
                object = xml.attributes().value(QStringLiteral("name")).toString();
            } else if (name == QLatin1String("property") || name == QLatin1String("attribute")) {
                property = xml.attributes().value(QStringLiteral("name")).toString();
            } else if (name == QLatin1String("string")) {
                const bool isFixed = xml.attributes().hasAttribute(QStringLiteral("notr"));
                const QString text = xml.readElementText();
                if (property == QLatin1String("shortcut"))
                    shortcuts.append(text);
                // The about box is a text, not controls.
                const bool isSeen = !isFixed && !text.isEmpty() && !text.contains(QLatin1Char('<')) &&
                                    QStringList{"text", "title", "windowTitle"}.contains(property);
                if (isSeen || (text.contains(QLatin1String("<->")) && property == QLatin1String("text")))
                    controls.append({className, object, text});
            }
        }
        QVERIFY2(!xml.hasError(), qPrintable(form + QStringLiteral(": ") + xml.errorString()));
    }
}

void TestGuideTexts::readTranslation() {
    QFile file(kSources + QStringLiteral("/resources/tilecam_zh_CN.ts"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    QString context;
    QString source;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        if (xml.name() == QLatin1String("name"))
            context = xml.readElementText();
        else if (xml.name() == QLatin1String("source"))
            source = xml.readElementText();
        else if (xml.name() == QLatin1String("translation"))
            chinese.insert(context + QLatin1Char('|') + source, xml.readElementText());
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
}

void TestGuideTexts::readKeys() {
    static const QRegularExpression name(QStringLiteral("^\\w+/\\w+$"));
    static const QRegularExpression entry(QStringLiteral("^(default|en|zh): ?(.*)$"));
    QString key;
    const auto all = guide::contentOf(kGuide + QStringLiteral("/keys.txt")).split(QLatin1Char('\n'));
    for (const QString& line : all) {
        const auto match = entry.match(line);
        if (name.match(line).hasMatch()) {
            QVERIFY2(!keyBlocks.contains(line), qPrintable(line + QStringLiteral(" is there twice")));
            key = line;
            keyBlocks.insert(key, {});
        } else if (match.hasMatch() && match.captured(1) == QLatin1String("default")) {
            keyBlocks[key].fallback = match.captured(2);
        } else if (match.hasMatch()) {
            keyBlocks[key].meaning.insert(match.captured(1), match.captured(2).trimmed());
        } else {
            QVERIFY2(line.isEmpty() || line.startsWith(QLatin1Char('#')),
                     qPrintable(QStringLiteral("keys.txt: ") + line));
        }
    }
}

/// What stands in bold letters or in quotes, or is a heading: names of what is on the screen.
QSet<QString> TestGuideTexts::namedIn(const QString& language) const {
    static const QRegularExpression name(QStringLiteral("\\*\\*([^*]+)\\*\\*|\"([^\"\n]+)\"|“([^”\n]+)”"));
    QString text = guide::withoutFences(allText(language));
    const auto headings = guide::headingsOf(text);
    for (const Key& key : keyBlocks)
        text += key.meaning[language] + QLatin1Char('\n');
    QSet<QString> found;
    for (auto match = name.globalMatch(text); match.hasNext();) {
        const auto next = match.next();
        for (int group = 1; group <= 3; ++group)
            found.insert(shown(next.captured(group).simplified()));
    }
    for (const guide::Heading& heading : headings)
        found.insert(shown(heading.text));
    return found;
}

// ---- both languages say the same -----------------------------------------------------------------

void TestGuideTexts::samePages() {
    QCOMPARE(pagesOf(QStringLiteral("en")).join(QLatin1Char(' ')),
             pagesOf(QStringLiteral("zh")).join(QLatin1Char(' ')));
    QVERIFY(pagesOf(QStringLiteral("en")).size() >= 13);
}

QStringList TestGuideTexts::picturesOf(const QString& text) {
    QStringList found;
    const auto links = guide::linksOf(text);
    for (const guide::Link& link : links) {
        if (link.isPicture)
            found.append(link.target.section(QLatin1Char('/'), -1));
    }
    return found;
}

void TestGuideTexts::sameHeadings() {
    const QStringList names = pagesOf(QStringLiteral("en"));
    for (const QString& name : names) {
        QStringList outlines;
        for (const QString& language : guide::kLanguages) {
            QStringList outline;
            const auto headings = guide::headingsOf(pageText(language, name));
            for (const guide::Heading& heading : headings)
                outline.append(QString::number(heading.level));
            outlines.append(outline.join(QLatin1Char(' ')));
        }
        QVERIFY2(outlines[0] == outlines[1],
                 qPrintable(QStringLiteral("%1: levels of the headings:%2").arg(name, lines(outlines))));
        QVERIFY2(outlines[0].startsWith(QLatin1Char('1')) && outlines[0].count(QLatin1Char('1')) == 1,
                 qPrintable(name + QStringLiteral(" has not one title, and first")));
    }
}

void TestGuideTexts::samePictures() {
    const QStringList names = pagesOf(QStringLiteral("en"));
    QStringList linked;
    for (const QString& name : names) {
        linked += picturesOf(pageText(QStringLiteral("en"), name));
        const QStringList english = picturesOf(pageText(QStringLiteral("en"), name));
        const QStringList inChinese = picturesOf(pageText(QStringLiteral("zh"), name));
        QVERIFY2(english == inChinese, qPrintable(QStringLiteral("%1: en %2; zh %3")
                                                      .arg(name, english.join(QLatin1Char(' ')),
                                                           inChinese.join(QLatin1Char(' ')))));
    }
    const QStringList english =
        guide::filesIn(kGuide + QStringLiteral("/pictures/en"), QStringLiteral("png"));
    const QStringList inChinese =
        guide::filesIn(kGuide + QStringLiteral("/pictures/zh"), QStringLiteral("png"));
    QCOMPARE(english.join(QLatin1Char(' ')), inChinese.join(QLatin1Char(' ')));
    for (const QString& file : english) {
        const bool isShown = std::any_of(linked.begin(), linked.end(), [&](const QString& picture) {
            return QFileInfo(picture).completeBaseName() == QFileInfo(file).completeBaseName();
        });
        QVERIFY2(isShown, qPrintable(QStringLiteral("no page shows ") + file));
    }
}

// ---- all is there --------------------------------------------------------------------------------

void TestGuideTexts::everyControl() {
    QFETCH(const QString, language);
    const QSet<QString> named = namedIn(language);
    QStringList missing;
    for (const Control& control : qAsConst(controls)) {
        QString text = control.text;
        if (language == QLatin1String("zh")) {
            text = chinese.value(control.form + QLatin1Char('|') + text);
            QVERIFY2(!text.isEmpty(), qPrintable(control.text));
        }
        if (!named.contains(shown(text)))
            missing.append(QStringLiteral("%1, %2: \"%3\"").arg(control.form, control.object, shown(text)));
    }
    QVERIFY2(missing.isEmpty(), qPrintable(language + QStringLiteral(" does not name") + lines(missing)));
}

void TestGuideTexts::everyMeasureAction() {
    QFETCH(const QString, language);
    MeasureBar bar(nullptr);
    QTranslator texts;
    if (language == QLatin1String("zh")) {
        QVERIFY(texts.load(QStringLiteral(TRANSLATION_FILE)));
        QCoreApplication::installTranslator(&texts);
        bar.retranslate();
    }
    QStringList wanted{bar.windowTitle()};
    const auto actions = bar.actions();
    for (const QAction* action : actions) {
        if (!action->isSeparator())
            wanted.append(shown(action->text()));
    }
    QVERIFY(wanted.size() >= 15);
    const QSet<QString> named = namedIn(language);
    QStringList missing;
    for (const QString& text : qAsConst(wanted)) {
        if (!named.contains(text))
            missing.append(text);
    }
    QVERIFY2(missing.isEmpty(), qPrintable(language + QStringLiteral(" does not name") + lines(missing)));
}

void TestGuideTexts::everyShortcut() {
    QFETCH(const QString, language);
    QStringList wanted = shortcuts;
    QVERIFY(wanted.contains(QStringLiteral("F4")));
    // Not of an action.
    wanted += {keys::kHotkey.fallback, QStringLiteral("Delete")};
    const MeasureBar bar(nullptr);
    const auto actions = bar.actions();
    for (const QAction* action : actions) {
        const auto its = action->shortcuts();
        for (const QKeySequence& shortcut : its)
            wanted.append(shortcut.toString(QKeySequence::PortableText));
    }
    QVERIFY(wanted.contains(QStringLiteral("Ctrl+Z")));
    // Where the guide begins: other pages name F1 as a key that can save.
    QVERIFY(pageText(language, QStringLiteral("index.md")).contains(QStringLiteral("**F1**")));
    const QString text = allText(language);
    for (const QString& shortcut : qAsConst(wanted)) {
        const QRegularExpression whole(
            QStringLiteral("(?<![\\w+])%1(?![\\w+])").arg(QRegularExpression::escape(shortcut)));
        QVERIFY2(text.contains(whole), qPrintable(language + QStringLiteral(" does not name ") + shortcut));
    }
}

// ---- setting.ini ---------------------------------------------------------------------------------

void TestGuideTexts::keysAreThoseOfTheProgram() {
    QStringList problems;
    QSet<QString> known;
    const auto all = keys::all();
    for (const keys::Description& key : all) {
        known.insert(key.name);
        if (!keyBlocks.contains(key.name))
            problems.append(key.name + QStringLiteral(" is missing"));
        else if (keyBlocks[key.name].fallback != key.fallback.toString())
            problems.append(QStringLiteral("%1 has the default \"%2\", not \"%3\"")
                                .arg(key.name, key.fallback.toString(), keyBlocks[key.name].fallback));
    }
    const QStringList blocks = keyBlocks.keys();
    for (const QString& name : blocks) {
        if (!known.contains(name))
            problems.append(name + QStringLiteral(" is none of the program's"));
    }
    QVERIFY2(problems.isEmpty(), qPrintable(QStringLiteral("keys.txt:") + lines(problems)));
    QVERIFY(keyBlocks.size() > 40);
}

void TestGuideTexts::everyKeyIsExplained() {
    const QStringList blocks = keyBlocks.keys();
    for (const QString& name : blocks) {
        for (const QString& language : guide::kLanguages)
            QVERIFY2(!keyBlocks[name].meaning[language].isEmpty(),
                     qPrintable(name + QLatin1Char(' ') + language));
    }
}

void TestGuideTexts::theKeysTableHasItsPlace() {
    for (const QString& language : guide::kLanguages)
        QCOMPARE(pageText(language, QStringLiteral("keys.md")).count(QStringLiteral("\n<!-- keys -->\n")), 1);
}

QTEST_MAIN(TestGuideTexts)
#include "tst_guidetexts.moc"
