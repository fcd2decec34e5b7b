#include "common/Plist.h"

#include "common/AtomicFile.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>
#include <QTimeZone>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <cmath>

namespace orel::Plist {

namespace {

// Deeper nesting than any real settings file; keeps hostile input from exhausting the stack.
constexpr int maxDepth = 256;

class Reader
{
public:
    explicit Reader(const QByteArray &xml) : m_xml(xml)
    {
        // Undeclared entities must fail, never resolve to something.
        m_xml.setEntityResolver(nullptr);
        m_xml.setNamespaceProcessing(false);
    }

    std::optional<QVariant> run(QString *error)
    {
        std::optional<QVariant> root = document();
        if (!root) {
            if (error)
                *error = m_message;
            return std::nullopt;
        }
        return root;
    }

private:
    bool fail(const QString &why)
    {
        if (m_message.isEmpty()) {
            m_message = QStringLiteral("line %1, column %2: %3")
                                .arg(m_xml.lineNumber())
                                .arg(m_xml.columnNumber())
                                .arg(why);
        }
        return false;
    }

    // Next token that matters: start or end element, or non-blank text. Comments, processing
    // instructions and blank text are skipped. Answers false (with the reason set) on errors.
    bool next()
    {
        for (;;) {
            const QXmlStreamReader::TokenType t = m_xml.readNext();
            switch (t) {
            case QXmlStreamReader::Invalid:
                return fail(m_xml.errorString());
            case QXmlStreamReader::DTD:
                if (!m_xml.entityDeclarations().isEmpty()
                    || m_xml.text().contains(QLatin1String("<!ENTITY")))
                    return fail(QStringLiteral("entity declarations are not allowed"));
                continue;
            case QXmlStreamReader::EntityReference:
                return fail(QStringLiteral("entity \"%1\" is not allowed").arg(m_xml.name()));
            case QXmlStreamReader::Characters:
                if (m_xml.isWhitespace())
                    continue;
                return true;
            case QXmlStreamReader::StartElement:
            case QXmlStreamReader::EndElement:
            case QXmlStreamReader::EndDocument:
                return true;
            case QXmlStreamReader::NoToken:
            case QXmlStreamReader::StartDocument:
            case QXmlStreamReader::Comment:
            case QXmlStreamReader::ProcessingInstruction:
                continue;
            }
        }
    }

    std::optional<QVariant> document()
    {
        if (!next())
            return std::nullopt;
        if (!m_xml.isStartElement() || m_xml.name() != QLatin1String("plist"))
            return failed(QStringLiteral("the root element is not <plist>"));
        if (!next())
            return std::nullopt;
        if (!m_xml.isStartElement())
            return failed(QStringLiteral("<plist> holds no value"));
        std::optional<QVariant> root = value(0);
        if (!root)
            return std::nullopt;
        if (!next())
            return std::nullopt;
        if (!m_xml.isEndElement())
            return failed(QStringLiteral("<plist> holds more than one value"));
        // Whatever follows the root must be well-formed and empty.
        if (!next())
            return std::nullopt;
        if (!m_xml.isEndDocument())
            return failed(QStringLiteral("content after </plist>"));
        return root;
    }

    std::optional<QVariant> failed(const QString &why)
    {
        fail(why);
        return std::nullopt;
    }

    // Text of a leaf element; the reader sits on its start element. Child elements are errors.
    std::optional<QString> leafText()
    {
        QString text;
        for (;;) {
            const QXmlStreamReader::TokenType t = m_xml.readNext();
            switch (t) {
            case QXmlStreamReader::Characters:
                text += m_xml.text();
                continue;
            case QXmlStreamReader::Comment:
            case QXmlStreamReader::ProcessingInstruction:
                continue;
            case QXmlStreamReader::EndElement:
                return text;
            case QXmlStreamReader::EntityReference:
                fail(QStringLiteral("entity \"%1\" is not allowed").arg(m_xml.name()));
                return std::nullopt;
            case QXmlStreamReader::Invalid:
                fail(m_xml.errorString());
                return std::nullopt;
            default:
                fail(QStringLiteral("unexpected element inside a value"));
                return std::nullopt;
            }
        }
    }

    // Reads one value; the reader sits on its start element and ends on its end element.
    std::optional<QVariant> value(int depth)
    {
        if (depth > maxDepth)
            return failed(QStringLiteral("nesting too deep"));
        const QString name = m_xml.name().toString();
        if (name == QLatin1String("dict"))
            return dict(depth);
        if (name == QLatin1String("array"))
            return array(depth);
        if (name == QLatin1String("true") || name == QLatin1String("false")) {
            const std::optional<QString> text = leafText();
            if (!text)
                return std::nullopt;
            if (!text->trimmed().isEmpty())
                return failed(QStringLiteral("<%1> must be empty").arg(name));
            return QVariant(name == QLatin1String("true"));
        }
        if (name != QLatin1String("string") && name != QLatin1String("integer")
            && name != QLatin1String("real") && name != QLatin1String("date")
            && name != QLatin1String("data"))
            return failed(QStringLiteral("unknown element <%1>").arg(name));

        const std::optional<QString> text = leafText();
        if (!text)
            return std::nullopt;
        if (name == QLatin1String("string"))
            return QVariant(*text);
        if (name == QLatin1String("integer"))
            return integer(*text);
        if (name == QLatin1String("real"))
            return real(*text);
        if (name == QLatin1String("date"))
            return date(*text);
        return data(*text);
    }

    std::optional<QVariant> integer(const QString &raw)
    {
        const QString t = raw.trimmed();
        bool ok = false;
        qint64 v = 0;
        if (t.startsWith(QLatin1String("0x")) || t.startsWith(QLatin1String("0X")))
            v = t.mid(2).toLongLong(&ok, 16);
        else if (t.startsWith(QLatin1String("-0x")) || t.startsWith(QLatin1String("-0X")))
            v = -t.mid(3).toLongLong(&ok, 16);
        else
            v = t.toLongLong(&ok, 10);
        if (!ok)
            return failed(QStringLiteral("bad integer \"%1\"").arg(t.left(40)));
        return QVariant(v);
    }

    std::optional<QVariant> real(const QString &raw)
    {
        const QString t = raw.trimmed();
        const QString lower = t.toLower();
        if (lower == QLatin1String("nan"))
            return QVariant(std::nan(""));
        if (lower == QLatin1String("inf") || lower == QLatin1String("+inf")
            || lower == QLatin1String("infinity"))
            return QVariant(HUGE_VAL);
        if (lower == QLatin1String("-inf") || lower == QLatin1String("-infinity"))
            return QVariant(-HUGE_VAL);
        bool ok = false;
        const double v = t.toDouble(&ok);
        if (!ok)
            return failed(QStringLiteral("bad real \"%1\"").arg(t.left(40)));
        return QVariant(v);
    }

    std::optional<QVariant> date(const QString &raw)
    {
        // The forms other tools write: a UTC time, possibly cut after any field.
        static const QRegularExpression re(
                QStringLiteral("^(\\d{4})(?:-(\\d\\d)(?:-(\\d\\d)(?:T(\\d\\d)(?::(\\d\\d)(?::("
                               "\\d\\d))?)?)?)?)?Z$"));
        const QRegularExpressionMatch m = re.match(raw.trimmed());
        if (!m.hasMatch())
            return failed(QStringLiteral("bad date \"%1\"").arg(raw.trimmed().left(40)));
        auto field = [&m](int i, int fallback) {
            return m.capturedLength(i) > 0 ? m.captured(i).toInt() : fallback;
        };
        const QDate d(field(1, 1), field(2, 1), field(3, 1));
        const QTime tm(field(4, 0), field(5, 0), field(6, 0));
        if (!d.isValid() || !tm.isValid())
            return failed(QStringLiteral("bad date \"%1\"").arg(raw.trimmed()));
        return QVariant(QDateTime(d, tm, QTimeZone::utc()));
    }

    std::optional<QVariant> data(const QString &raw)
    {
        QByteArray compact;
        compact.reserve(raw.size());
        for (const QChar c : raw) {
            if (c.isSpace())
                continue;
            if (c.unicode() > 0x7f)
                return failed(QStringLiteral("bad base64 data"));
            compact.append(char(c.unicode()));
        }
        const auto decoded =
                QByteArray::fromBase64Encoding(compact, QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded)
            return failed(QStringLiteral("bad base64 data"));
        return QVariant(decoded.decoded);
    }

    std::optional<QVariant> dict(int depth)
    {
        QVariantMap map;
        for (;;) {
            if (!next())
                return std::nullopt;
            if (m_xml.isEndElement())
                return QVariant(map);
            if (!m_xml.isStartElement() || m_xml.name() != QLatin1String("key"))
                return failed(QStringLiteral("<dict> expects <key>"));
            const std::optional<QString> key = leafText();
            if (!key)
                return std::nullopt;
            if (!next())
                return std::nullopt;
            if (!m_xml.isStartElement())
                return failed(QStringLiteral("key \"%1\" has no value").arg(key->left(40)));
            if (m_xml.name() == QLatin1String("key"))
                return failed(QStringLiteral("key \"%1\" has no value").arg(key->left(40)));
            std::optional<QVariant> v = value(depth + 1);
            if (!v)
                return std::nullopt;
            map.insert(*key, *v);
        }
    }

    std::optional<QVariant> array(int depth)
    {
        QVariantList list;
        for (;;) {
            if (!next())
                return std::nullopt;
            if (m_xml.isEndElement())
                return QVariant(list);
            if (!m_xml.isStartElement())
                return failed(QStringLiteral("text inside <array>"));
            std::optional<QVariant> v = value(depth + 1);
            if (!v)
                return std::nullopt;
            list.append(*v);
        }
    }

    QXmlStreamReader m_xml;
    QString m_message;
};

QString realText(double d)
{
    if (std::isnan(d))
        return QStringLiteral("nan");
    if (std::isinf(d))
        return d > 0 ? QStringLiteral("inf") : QStringLiteral("-inf");
    QString t = QString::number(d, 'g', QLocale::FloatingPointShortest);
    // Keep it recognisably a real for readers that care.
    if (!t.contains(QLatin1Char('.')) && !t.contains(QLatin1Char('e')))
        t += QLatin1String(".0");
    return t;
}

void writeValue(QXmlStreamWriter &w, const QVariant &v)
{
    switch (v.typeId()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = v.toMap();
        w.writeStartElement(QStringLiteral("dict"));
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            w.writeTextElement(QStringLiteral("key"), it.key());
            writeValue(w, it.value());
        }
        w.writeEndElement();
        return;
    }
    case QMetaType::QVariantHash: {
        // Sorted like a map so that the output does not depend on hashing.
        const QVariantHash hash = v.toHash();
        QVariantMap map;
        for (auto it = hash.cbegin(); it != hash.cend(); ++it)
            map.insert(it.key(), it.value());
        writeValue(w, QVariant(map));
        return;
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        const QVariantList list = v.toList();
        w.writeStartElement(QStringLiteral("array"));
        for (const QVariant &item : list)
            writeValue(w, item);
        w.writeEndElement();
        return;
    }
    case QMetaType::Bool:
        w.writeEmptyElement(v.toBool() ? QStringLiteral("true") : QStringLiteral("false"));
        return;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        w.writeTextElement(QStringLiteral("integer"), QString::number(v.toLongLong()));
        return;
    case QMetaType::ULongLong:
        w.writeTextElement(QStringLiteral("integer"), QString::number(v.toULongLong()));
        return;
    case QMetaType::Double:
    case QMetaType::Float:
        w.writeTextElement(QStringLiteral("real"), realText(v.toDouble()));
        return;
    case QMetaType::QDateTime:
        w.writeTextElement(
                QStringLiteral("date"),
                v.toDateTime().toUTC().toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss'Z'")));
        return;
    case QMetaType::QByteArray:
        w.writeTextElement(QStringLiteral("data"), QString::fromLatin1(v.toByteArray().toBase64()));
        return;
    default:
        w.writeTextElement(QStringLiteral("string"), v.toString());
        return;
    }
}

} // namespace

std::optional<QVariant> read(const QByteArray &xml, QString *error)
{
    if (xml.startsWith("bplist")) {
        if (error)
            *error = QStringLiteral("binary property lists are not supported");
        return std::nullopt;
    }
    return Reader(xml).run(error);
}

std::optional<QVariant> readFile(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return std::nullopt;
    }
    QString why;
    std::optional<QVariant> v = read(file.readAll(), &why);
    if (!v && error)
        *error = QStringLiteral("%1: %2").arg(path, why);
    return v;
}

QByteArray write(const QVariant &root)
{
    // The root value sits at the left margin inside <plist>, as other plist tools write it, so
    // the envelope is written by hand around a formatted value.
    QByteArray body;
    QXmlStreamWriter w(&body);
    w.setAutoFormatting(true);
    w.setAutoFormattingIndent(-1); // one tab per level
    writeValue(w, root);
    QByteArray out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                     "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                     "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                     "<plist version=\"1.0\">\n";
    out += body.trimmed();
    out += "\n</plist>\n";
    return out;
}

bool writeFile(const QString &path, const QVariant &root, QString *error)
{
    QString why;
    if (writeFileAtomically(path, write(root), &why))
        return true;
    if (error)
        *error = QStringLiteral("%1: %2").arg(path, why);
    return false;
}

} // namespace orel::Plist
