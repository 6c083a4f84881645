#include "render/screen.h"

#include "app/base/version.h"
#include "prims/json.h"
#include "render/needsupdate.h"
#include "render/section.h"
#include "render/steps.h"

#include <QFrame>
#include <QRegularExpression>
#include <QScrollArea>
#include <QVBoxLayout>
#include <QWidget>

using namespace Qt::StringLiterals;

namespace render {

namespace {

// Dot-separated integers at the start of the text; whatever follows is ignored.
QList<int> versionParts(const QString &text)
{
    static const QRegularExpression leading(u"^\\s*(\\d+(?:\\.\\d+)*)"_s);
    QList<int> parts;
    const QRegularExpressionMatch m = leading.match(text);
    if (!m.hasMatch())
        return parts;
    // A part too long for any integer is still a very large number, never 0.
    constexpr qlonglong kMost = qlonglong(1) << 30;
    for (const QString &piece : m.captured(1).split(u'.')) {
        bool ok = false;
        const qlonglong n = piece.toLongLong(&ok);
        parts << int(ok ? std::min(n, kMost) : kMost);
    }
    return parts;
}

} // namespace

bool clientTooOld(const QString &minClient)
{
    const QList<int> wanted = versionParts(minClient);
    if (wanted.isEmpty())
        return false;
    const QList<int> own = versionParts(QString::fromLatin1(app::kVersion).section(u'+', 0, 0));
    for (qsizetype i = 0; i < std::max(wanted.size(), own.size()); ++i) {
        const int a = i < own.size() ? own[i] : 0;
        const int b = i < wanted.size() ? wanted[i] : 0;
        if (a != b)
            return a < b;
    }
    return false;
}

QWidget *screen(const QJsonObject &description, const Actions &actions, QWidget *parent)
{
    auto *root = new QWidget(parent);
    // Whatever the unit sends, the screen fits the window's width: content that cannot shrink is
    // clipped rather than forcing the whole window wider.
    root->setMinimumWidth(1);
    auto *rootBox = new QVBoxLayout(root);
    rootBox->setContentsMargins(14, 12, 14, 12);
    rootBox->setSpacing(8);

    const bool scroll = prims::readFlag(description, "scroll"_L1, false);
    QWidget *body = root;
    QVBoxLayout *box = rootBox;
    if (scroll) {
        rootBox->setContentsMargins(0, 0, 0, 0);
        auto *area = new QScrollArea(root);
        area->setWidgetResizable(true);
        area->setFrameShape(QFrame::NoFrame);
        area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        area->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
        area->setStyleSheet(
            u"QScrollArea{background:transparent;}QScrollArea>QWidget>QWidget{background:transparent;}"_s);
        body = new QWidget;
        box = new QVBoxLayout(body);
        box->setContentsMargins(14, 12, 14, 12);
        box->setSpacing(8);
        area->setWidget(body);
        rootBox->addWidget(area);
    }

    const QString minClient = prims::readText(description, "min_client"_L1);
    if (!minClient.isEmpty() && clientTooOld(minClient))
        box->addWidget(needsUpdate(u"a screen built for Kestro Connect %1 or newer"_s.arg(minClient), body));

    if (QWidget *strip = steps(prims::readArray(description, "steps"_L1, 100), actions, body))
        box->addWidget(strip);

    for (const QJsonValue &v : prims::readArray(description, "sections"_L1, 4000)) {
        if (!v.isObject())
            continue;
        if (QWidget *w = section(v.toObject(), actions, 0, body))
            box->addWidget(w);
    }
    box->addStretch(1);
    return root;
}

} // namespace render
