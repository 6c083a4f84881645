#include "render/needsupdate.h"

#include "app/base/theme.h"
#include "app/base/version.h"
#include "prims/text.h"

#include <QFrame>
#include <QVBoxLayout>

namespace render {

QFrame *needsUpdate(const QString &subject, QWidget *parent)
{
    const QString warn = QStringLiteral("warn");
    auto *frame = new QFrame(parent);
    frame->setObjectName(QStringLiteral("needsUpdate"));
    frame->setStyleSheet(QStringLiteral("QFrame#needsUpdate { background:%1; border:1px solid %2; border-radius:5px; }")
                             .arg(theme::toneSoft(warn).name(), theme::toneColor(warn).name()));
    auto *box = new QVBoxLayout(frame);
    box->setContentsMargins(10, 6, 10, 6);
    box->setSpacing(2);

    auto *heading = new prims::TextLabel(QStringLiteral("This part of the screen needs a newer Kestro Connect"), frame);
    heading->setFont(theme::uiFont(10, true));
    heading->setWordWrap(true);
    heading->setStyleSheet(QStringLiteral("color:%1;").arg(theme::toneColor(warn).name()));
    box->addWidget(heading);

    auto *text =
        new prims::TextLabel(QStringLiteral("The unit sent %1, which this app (v%2) cannot draw. Install the current "
                                            "Kestro Connect to see it. Everything else on this screen is unaffected.")
                                 .arg(prims::capped(subject, 200), QLatin1String(app::kVersion)),
                             frame);
    text->setFont(theme::uiFont(9));
    text->setWordWrap(true);
    box->addWidget(text);
    return frame;
}

} // namespace render
