#include "prims/log.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QScrollBar>
#include <QTextEdit>

using namespace Qt::StringLiterals;

namespace prims {

QString logHtml(const QJsonArray &lines, bool wrap)
{
    const theme::Palette &pal = theme::palette();
    if (lines.isEmpty())
        return u"<span style='color:%1'><i>(nothing yet)</i></span>"_s.arg(pal.dim.name());

    QString html = u"<div style='white-space:%1'>"_s.arg(wrap ? u"pre-wrap"_s : u"pre"_s);
    for (const QJsonValue &line : lines) {
        QString text;
        QColor color = pal.ink;
        if (line.isObject()) {
            const QJsonObject o = line.toObject();
            text = readText(o, "text"_L1);
            color = theme::toneColor(readName(o, "tone"_L1, u"body"_s));
        } else {
            // Strings as they are; a stray number or flag is still shown rather than dropped.
            text = valueText(line);
        }
        html += u"<span style='color:%1'>%2</span><br>"_s.arg(color.name(), text.toHtmlEscaped());
    }
    html += u"</div>"_s;
    return html;
}

QWidget *buildLog(const QJsonObject &el, QWidget *parent)
{
    const theme::Palette &pal = theme::palette();
    const bool wrap = readFlag(el, "wrap"_L1, false);
    auto *view = new QTextEdit(parent);
    view->setReadOnly(true);
    view->setFont(theme::monoFont(9));
    view->setFixedHeight(readInt(el, "height"_L1, 160, 40, 3000));
    if (wrap) {
        view->setLineWrapMode(QTextEdit::WidgetWidth);
        view->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    } else {
        view->setLineWrapMode(QTextEdit::NoWrap);
    }
    view->setStyleSheet(u"QTextEdit { background:%1; color:%2;            border:1px solid %3;            "
                        "border-radius:%4px; }"_s.arg(pal.bg.name(), pal.ink.name(), pal.edge.name(), u"5"_s));
    view->setHtml(logHtml(readArray(el, "lines"_L1, 5000), wrap));
    view->moveCursor(QTextCursor::End);
    view->verticalScrollBar()->setValue(view->verticalScrollBar()->maximum());
    return view;
}

} // namespace prims
