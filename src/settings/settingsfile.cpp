// SPDX-License-Identifier: Apache-2.0
#include "settings/settingsfile.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>
#include <QTextCodec>
#include <QTimerEvent>
#include <algorithm>

#include "platform/files.h"

namespace {

constexpr int kRetryPeriod = 5000;  // ms

/// What a configuration file's bytes are worth.
enum class Content { Ini, IniWithStrayLines, Foreign };

bool isUtf8(const QByteArray& bytes) {
    QTextCodec::ConverterState state;
    QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

/// The lines without white space around them and without a byte order mark.
QList<QByteArray> linesOf(QByteArray bytes) {
    if (bytes.startsWith("\xef\xbb\xbf"))
        bytes.remove(0, 3);
    auto lines = bytes.replace('\r', '\n').split('\n');
    for (QByteArray& line : lines)
        line = line.trimmed();
    return lines;
}

/// Looks at the lines by itself: QSettings calls a byte order mark and a "#" comment errors, too.
Content contentOf(const QByteArray& bytes) {
    if (bytes.contains('\0') || !isUtf8(bytes))
        return Content::Foreign;
    bool hasKeys = false;
    bool hasStrayLines = false;
    bool hasTornSections = false;
    for (const QByteArray& line : linesOf(bytes)) {
        if (line.isEmpty() || line.startsWith(';') || line.startsWith('#'))
            continue;
        // QSettings takes one without an end for a section all the same, which may hide a whole one.
        if (line.startsWith('['))
            hasTornSections = hasTornSections || !line.contains(']');
        else
            (line.contains('=') ? hasKeys : hasStrayLines) = true;
    }
    if (hasStrayLines && !hasKeys)
        return Content::Foreign;
    return hasStrayLines || hasTornSections ? Content::IniWithStrayLines : Content::Ini;
}

/// Nothing when it cannot be read; a folder cannot.
std::optional<QByteArray> contentOfFile(const QString& fileName) {
    QFile file(fileName);
    if (!QFileInfo(fileName).isFile() || !file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

bool isList(const QVariant& value) {
    return value.type() == QVariant::StringList || value.type() == QVariant::List;
}

QString joined(const QVariant& list) {
    return list.toStringList().join(QLatin1Char(','));
}

/// The text of a key as it stands in the file, spaces behind commas and all. QSettings has read it as `list`
/// because of its bare commas; what that cannot have come from (quotes, escapes) is joined without spaces.
QString commaText(const QByteArray& bytes, const QString& name, const QVariant& list) {
    const QStringList parts = list.toStringList();
    QString found = joined(list);
    QString section;
    for (const QByteArray& line : linesOf(bytes)) {
        if (line.startsWith('[')) {
            section = QString::fromUtf8(line.mid(1, line.indexOf(']') - 1)).trimmed();
            continue;
        }
        const int equals = line.indexOf('=');
        const QString key = section + QLatin1Char('/') + QString::fromUtf8(line.left(equals)).trimmed();
        // Where letters of another case are another key, it has another value.
        if (equals < 0 || key.compare(name, Qt::CaseInsensitive) != 0)
            continue;
        const QString text = QString::fromUtf8(line.mid(equals + 1).split(';').first()).trimmed();
        QStringList textParts = text.split(QLatin1Char(','));
        for (QString& part : textParts)
            part = part.trimmed();
        if (textParts == parts && !text.contains(QLatin1Char('"')) && !text.contains(QLatin1Char('\\')))
            found = text;
    }
    return found;
}

/// Why a file cannot be written, in the system's words: QSettings keeps them to itself. Empty when it can.
QString refusal(const QString& fileName) {
    constexpr int kGrowth = 1024;  // bytes that the new file may have more than the old one
    QFile old(fileName);
    if (old.exists() && !old.open(QIODevice::ReadWrite))
        return old.errorString();
    QTemporaryFile beside(fileName + QStringLiteral(".XXXXXX"));
    const QByteArray content(int(old.size()) + kGrowth, ' ');
    if (!beside.open())
        return beside.errorString();
    if (beside.write(content) == content.size() && beside.flush())
        return {};
    // A disk that takes a part of it says why only when it has no room at all for the rest.
    beside.flush();
    return beside.errorString();
}

/// Why another file cannot take a file's place although both can be written: in a folder where only the owner
/// of a file may, or when the file is a mount. That is seen only by trying it, with the same bytes.
QString refusalToReplace(const QString& fileName) {
    const QString target = QFileInfo(fileName).canonicalFilePath();  // QSettings writes through links, too
    const auto bytes = contentOfFile(target);
    if (!bytes)
        return {};
    const QString temporary = platform::temporaryNameFor(target);
    QString problem = platform::writeNewFile(temporary, [&](QIODevice& file) {
        return file.write(*bytes) == bytes->size() ? QString() : file.errorString();
    });
    if (!problem.isEmpty())
        return problem;
    QFile::setPermissions(temporary, QFile::permissions(target));
    problem = platform::replaceByRename(temporary, target);
    if (!problem.isEmpty())
        QFile::remove(temporary);
    return problem;
}

}  // namespace

SettingsFile::SettingsFile(const QString& fileName, QObject* parent)
    : QObject(parent), file(fileName, QSettings::IniFormat) {
    file.setIniCodec("UTF-8");
    const QFileInfo info(fileName);
    if (!info.exists() && !info.isSymLink())
        return;
    const auto bytes = contentOfFile(fileName);
    const Content content = bytes ? contentOf(*bytes) : Content::Foreign;
    intact = content != Content::Foreign;
    needsCopy = content == Content::IniWithStrayLines;
    if (!intact) {
        qWarning("%s cannot be understood; it stays as it is and changes of this run are not kept",
                 qUtf8Printable(fileName));
        problemText = QStringLiteral("Settings not kept: %1 cannot be understood").arg(info.fileName());
    }
    for (const auto& key : keys::all()) {
        const QVariant stored = file.value(key.name);
        if (bytes && isList(stored))
            commaTexts.insert(key.name, commaText(*bytes, key.name, stored));
        const QString oddity = stored.isValid() ? key.oddity(*text(key.name)) : QString();
        if (!oddity.isEmpty())
            qWarning("%s %s", qUtf8Printable(key.name), qUtf8Printable(oddity));
    }
}

SettingsFile::~SettingsFile() {
    const QSignalBlocker nobodyIsTold(this);
    // QSettings has what it could not write, but does not try again by itself when it goes.
    if (!changes.isEmpty() || !problemText.isEmpty())
        flush();
}

/// Nothing when the file cannot be read or does not have the key.
std::optional<QString> SettingsFile::textInFile(const QString& fileName, const QString& name) {
    const auto bytes = contentOfFile(fileName);
    if (!bytes)
        return {};
    QSettings file(fileName, QSettings::IniFormat);
    file.setIniCodec("UTF-8");
    if (!file.contains(name))
        return {};
    const QVariant stored = file.value(name);
    return isList(stored) ? commaText(*bytes, name, stored) : stored.toString();
}

/// Nothing when there is neither a value of this run nor one in the file.
std::optional<QString> SettingsFile::text(const QString& name) const {
    const auto change = std::find_if(changes.begin(), changes.end(),
                                     [&](const auto& candidate) { return candidate.first == name; });
    const QVariant stored = change != changes.end() ? change->second : file.value(name);
    // "@Invalid()" stands in a file for a null text, which is a value and not the absence of one.
    if (!stored.isValid())
        return change == changes.end() && file.contains(name) ? std::optional(QString()) : std::nullopt;
    return isList(stored) ? commaTexts.value(name, joined(stored)) : stored.toString();
}

void SettingsFile::set(const QString& name, const QVariant& value) {
    const auto change = std::find_if(changes.begin(), changes.end(),
                                     [&](const auto& candidate) { return candidate.first == name; });
    if (change != changes.end())
        change->second = value;
    else
        changes.append({name, value});
}

void SettingsFile::flushSoon() {
    if (!flushIsDue)
        QMetaObject::invokeMethod(this, &SettingsFile::flush, Qt::QueuedConnection);
    flushIsDue = true;
}

void SettingsFile::flush() {
    flushIsDue = false;
    if (!intact)
        return;
    const QString problem = takeChangesOver();
    setProblem(problem.isEmpty() ? writeProblem() : problem);
    if (problemText.isEmpty())
        retry.stop();
    else if (!retry.isActive())
        retry.start(kRetryPeriod, this);
}

void SettingsFile::timerEvent(QTimerEvent* event) {
    if (event->timerId() == retry.timerId())
        flush();
}

/// Hands the changes to QSettings, once nothing is lost by writing the file. Returns what is in the way.
QString SettingsFile::takeChangesOver() {
    if (needsCopy && !changes.isEmpty()) {
        const QString copy = fileName() + QStringLiteral(".bak");
        const auto bytes = contentOfFile(fileName());
        const QString name = QFileInfo(copy).fileName();
        if (!bytes)
            return QStringLiteral("%1 cannot be made").arg(name);
        const QString problem = platform::replaceFile(copy, *bytes);
        if (!problem.isEmpty())
            return QStringLiteral("%1 cannot be made: %2").arg(name, problem);
        needsCopy = false;
        QFile::setPermissions(copy, QFile::permissions(fileName()));
        qWarning("%s had lines that are no settings; the old file is %s", qUtf8Printable(fileName()),
                 qUtf8Printable(copy));
    }
    if (changes.isEmpty())
        return {};
    // As a list it would come back with a space behind every comma.
    for (auto text = commaTexts.constBegin(); text != commaTexts.constEnd(); ++text) {
        if (isList(file.value(text.key())))
            file.setValue(text.key(), text.value());
    }
    commaTexts.clear();
    for (const auto& [name, value] : qAsConst(changes)) {
        if (value.isValid())
            file.setValue(name, value);
        else
            file.remove(name);
    }
    changes.clear();
    return {};
}

/// Has QSettings write what it has; it tries again what it could not write. Returns why it still cannot.
QString SettingsFile::writeProblem() {
    file.sync();
    if (file.status() == QSettings::NoError || isWritten())
        return {};
    QString reason = refusal(fileName());
    if (reason.isEmpty())
        reason = refusalToReplace(fileName());
    if (!reason.isEmpty())
        return reason;
    // Nothing is in the way any more.
    file.sync();
    return isWritten() ? QString() : QStringLiteral("unknown reason");
}

/// Whether QSettings has written all that it has. The status of `file` does not tell: it stays for ever, also
/// that of oddities found when the file was read. All objects of a file's name share what is still to be
/// written, so one made now tries it once more, with a status of its own.
bool SettingsFile::isWritten() const {
    return QSettings(fileName(), QSettings::IniFormat).status() != QSettings::AccessError;
}

/// Takes what is in the way of writing the file, empty when nothing is.
void SettingsFile::setProblem(const QString& reason) {
    const QString text = reason.isEmpty() ? QString() : QStringLiteral("Settings not written: ") + reason;
    if (text == problemText)
        return;
    problemText = text;
    if (!reason.isEmpty())
        qWarning("%s cannot be written: %s", qUtf8Printable(fileName()), qUtf8Printable(reason));
    emit problemChanged(problemText);
}
