#include "prims/text.h"

#include "app/base/theme.h"

#include <algorithm>
#include <cmath>

namespace prims {

QString capped(const QString &text, int most)
{
    return text.size() <= most ? text : text.left(std::max(0, most - 1)) + QChar(0x2026);
}

TextLabel *textLabel(const QString &text, int points, const QColor &color, bool bold, bool mono, QWidget *parent)
{
    auto *label = new TextLabel(text, parent);
    QFont font = mono ? theme::monoFont(points) : theme::uiFont(points, bold);
    if (mono)
        font.setWeight(bold ? QFont::Bold : QFont::Normal);
    label->setFont(font);
    label->setWordWrap(true);
    // The colour is the label's own rather than a style sheet of its own: a sheet would make
    // the style sheet style parse and polish every label of a screen one by one.
    QPalette pal = label->palette();
    pal.setColor(QPalette::WindowText, color);
    label->setPalette(pal);
    label->setTextColor(color);
    return label;
}

TextLabel *pillLabel(const QString &text, const QColor &color, int points, bool outlined, QWidget *parent)
{
    auto *label = new TextLabel(capped(text, 40), parent);
    label->setFont(theme::uiFont(std::clamp(points, 6, 24), true));
    label->setWordWrap(true);
    label->setPrefersOneLine(true);
    const QString border = outlined ? QStringLiteral("1px solid ") + color.name() : QStringLiteral("none");
    label->setStyleSheet(QStringLiteral("color:%1; background:%2; border:%3;border-radius:%4px; padding:1px 9px;")
                             .arg(color.name(), theme::palette().grey.name(), border, QString::number(9)));
    return label;
}

QString buttonText(const QString &text)
{
    QString shown = text;
    return shown.replace(u'&', QStringLiteral("&&"));
}

QString valueText(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Double: {
        const double d = value.toDouble();
        if (std::isfinite(d) && d == std::trunc(d) && std::abs(d) < 1e15)
            return QString::number(qint64(d));
        return QString::number(d, 'g', 6);
    }
    case QJsonValue::Bool:
        return value.toBool() ? QStringLiteral("yes") : QStringLiteral("no");
    case QJsonValue::Array:
    case QJsonValue::Object:
        return QStringLiteral("...");
    default:
        return {};
    }
}

QString valueText(const QJsonObject &o, QLatin1StringView key)
{
    return valueText(o.value(key));
}

} // namespace prims
