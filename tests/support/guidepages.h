// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QVector>

/// What tests have to know of the guide's Markdown: pages, headings, links.
namespace guide {

inline const QStringList kLanguages{QStringLiteral("en"), QStringLiteral("zh")};

inline QString contentOf(const QString& file) {
    QFile opened(file);
    return opened.open(QIODevice::ReadOnly) ? QString::fromUtf8(opened.readAll()) : QString();
}

/// Names of the files of a kind in a folder, sorted.
inline QStringList filesIn(const QString& folder, const QString& kind) {
    return QDir(folder).entryList({QStringLiteral("*.") + kind}, QDir::Files, QDir::Name);
}

/// The text without what stands in fences, which is neither heading nor link. Lines keep their numbers.
inline QString withoutFences(const QString& text) {
    QStringList lines = text.split(QLatin1Char('\n'));
    bool isFenced = false;
    for (QString& line : lines) {
        const bool isFence = line.trimmed().startsWith(QLatin1String("```"));
        if (isFence || isFenced)
            line.clear();
        isFenced ^= isFence;
    }
    return lines.join(QLatin1Char('\n'));
}

struct Heading {
    int level;
    QString text;
};

inline QVector<Heading> headingsOf(const QString& text) {
    static const QRegularExpression heading(QStringLiteral("^(#{1,6}) +(.*?) *$"),
                                            QRegularExpression::MultilineOption);
    QVector<Heading> found;
    for (auto match = heading.globalMatch(withoutFences(text)); match.hasNext();) {
        const auto next = match.next();
        found.append({next.capturedLength(1), next.captured(2)});
    }
    return found;
}

/// What a link to a heading has behind its "#": lower case, spaces as hyphens, no punctuation; one that comes
/// again is numbered.
inline QStringList anchorsOf(const QString& text) {
    QStringList found;
    const auto headings = headingsOf(text);
    for (const Heading& heading : headings) {
        QString anchor;
        for (const QChar sign : heading.text.toLower()) {
            if (sign.isLetterOrNumber() || sign.isMark() || sign == QLatin1Char('-') ||
                sign == QLatin1Char('_'))
                anchor += sign;
            else if (sign.isSpace())
                anchor += QLatin1Char('-');
        }
        QString numbered = anchor;
        for (int number = 1; found.contains(numbered); ++number)
            numbered = anchor + QStringLiteral("-%1").arg(number);
        found.append(numbered);
    }
    return found;
}

struct Link {
    QString target;
    bool isPicture;
    int line;  // from 1
};

/// What a link shows may go on in the next line, but not beyond a paragraph.
inline QVector<Link> linksOf(const QString& text) {
    static const QRegularExpression link(
        QStringLiteral("(!?)\\[(?:[^\\[\\]\n]|\n(?![ \\t]*\n))*\\]\\(([^)\\s]+)\\)"));
    QVector<Link> found;
    const QString searched = withoutFences(text);
    int line = 1;
    int counted = 0;  // characters whose line ends are in `line`
    for (auto match = link.globalMatch(searched); match.hasNext();) {
        const auto next = match.next();
        const int start = next.capturedStart();
        line += searched.midRef(counted, start - counted).count(QLatin1Char('\n'));
        counted = start;
        found.append({next.captured(2), !next.captured(1).isEmpty(), line});
    }
    return found;
}

/// A heading and what is under it, up to the next one that is not below it; empty where there is no such
/// heading.
inline QString sectionOf(const QString& text, const QString& heading) {
    static const QRegularExpression head(QStringLiteral("^(#{1,6}) +(.*?) *$"));
    const QStringList lines = withoutFences(text).split(QLatin1Char('\n'));
    QStringList section;
    int level = 0;  // of the heading, 0: it has not come yet
    for (const QString& line : lines) {
        const auto match = head.match(line);
        if (match.hasMatch() && level == 0 && match.captured(2) == heading)
            level = match.capturedLength(1);
        else if (match.hasMatch() && level > 0 && match.capturedLength(1) <= level)
            break;
        if (level > 0)
            section.append(line);
    }
    return section.join(QLatin1Char('\n'));
}

/// Rows of tables, their heads too, in the order of the text.
inline QStringList rowsOf(const QString& text) {
    return withoutFences(text).split(QLatin1Char('\n')).filter(QRegularExpression(QStringLiteral("^\\| ")));
}

}  // namespace guide
