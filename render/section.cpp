#include "render/section.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/registry.h"
#include "prims/text.h"
#include "render/element.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace render {

QWidget *section(const QJsonObject &sec, const Actions &actions, int depth, QWidget *parent)
{
    if (depth > kMaxSectionDepth)
        return prims::tooDeepNote(parent, u"error"_s);

    const QString label = prims::readText(sec, "label"_L1);
    if (!label.isEmpty() && actions.covered && actions.covered(label))
        return nullptr;

    const QJsonObject badge = prims::readObject(sec, "badge"_L1);
    const QJsonArray elements = prims::readArray(sec, "elements"_L1, 4000);
    const QJsonArray subSections = prims::readArray(sec, "sections"_L1, 400);
    if (label.isEmpty() && badge.isEmpty() && elements.isEmpty() && subSections.isEmpty())
        return nullptr;

    if (label.isEmpty() && badge.isEmpty() && elements.isEmpty()) {
        auto *plain = new QWidget(parent);
        auto *box = new QVBoxLayout(plain);
        box->setContentsMargins(0, 0, 0, 0);
        for (const QJsonValue &sub : subSections) {
            if (QWidget *w = section(sub.toObject(), actions, depth + 1, plain))
                box->addWidget(w);
        }
        return plain;
    }

    const bool nested = depth > 0;
    auto *frame = new QFrame(parent);
    frame->setObjectName(nested ? u"nested"_s : u"card"_s);
    auto *box = new QVBoxLayout(frame);
    if (nested)
        box->setContentsMargins(12, 8, 12, 8);
    else
        box->setContentsMargins(14, 10, 14, 10);

    auto *header = new QWidget(frame);
    auto *headerBox = new QHBoxLayout(header);
    headerBox->setContentsMargins(0, 0, 0, 2);
    auto *title = new prims::TextLabel(label, header);
    title->setObjectName(u"sectionTitle"_s);
    title->setFont(theme::uiFont(nested ? 11 : 13, true));
    title->setTextColor(theme::palette().ink);
    title->setWordWrap(true);
    headerBox->addWidget(title, 1);
    const QString badgeLabel = prims::readText(badge, "label"_L1);
    if (!badgeLabel.isEmpty()) {
        const QColor tone = theme::toneColor(prims::readName(badge, "tone"_L1));
        headerBox->addWidget(prims::pillLabel(badgeLabel, tone, 9, true, header), 0, Qt::AlignTop);
    }
    if (!label.isEmpty() || !badgeLabel.isEmpty())
        box->addWidget(header);
    else
        delete header;

    for (const QJsonValue &v : elements) {
        if (QWidget *w = element(v.toObject(), actions, depth, frame))
            box->addWidget(w);
    }
    for (const QJsonValue &sub : subSections) {
        if (QWidget *w = section(sub.toObject(), actions, depth + 1, frame))
            box->addWidget(w);
    }
    return frame;
}

} // namespace render
