#include "phone/access.h"

#include "app/base/settings.h"
#include "app/base/theme.h"
#include "phone/phone.h"
#include "tools/dialogs.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QDialog>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>

using namespace Qt::StringLiterals;

namespace phone {

namespace {

quint16 savedPort(const QJsonObject &settings)
{
    // A port no server can listen on reads as the default rather than as the nearest bound.
    const int port = settings.value(QLatin1StringView(kPortKey)).toInt(kDefaultPort);
    return quint16(port >= 1 && port <= 65535 ? port : kDefaultPort);
}

} // namespace

bool startFromSettings(Phone &phone)
{
    const QJsonObject s = app::loadSettings();
    const QString password = s.value(QLatin1StringView(kPasswordKey)).toString();
    if (!s.value(QLatin1StringView(kEnabledKey)).toBool() || password.isEmpty())
        return false;
    return phone.start(savedPort(s), password);
}

void phoneAccess(QWidget *parent, Phone &phone)
{
    const QJsonObject saved = app::loadSettings();
    QDialog *dialog = tools::makeDialog(parent, u"Phone access"_s, 500, 0);
    auto *layout = new QVBoxLayout(dialog);

    auto *enabled = new QCheckBox(u"Enable phone access"_s);
    enabled->setObjectName(QLatin1StringView(kEnabledKey));
    enabled->setChecked(saved.value(QLatin1StringView(kEnabledKey)).toBool());
    layout->addWidget(enabled);

    auto *form = new QFormLayout;
    auto *port = new QSpinBox;
    port->setObjectName(QLatin1StringView(kPortKey));
    port->setRange(1, 65535);
    port->setValue(savedPort(saved));
    form->addRow(u"Port"_s, port);
    auto *password = new QLineEdit(saved.value(QLatin1StringView(kPasswordKey)).toString());
    password->setObjectName(QLatin1StringView(kPasswordKey));
    password->setEchoMode(QLineEdit::Password);
    form->addRow(u"Password"_s, password);
    layout->addLayout(form);

    layout->addWidget(
        tools::makeLabel(u"Phones see live status only - view only, no control."_s, 9, theme::palette().dim));
    QLabel *status = tools::makeLabel(QString(), 10, theme::palette().ink);
    status->setObjectName(u"phoneStatus"_s);
    layout->addWidget(status);

    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto *apply = new QPushButton(u"Apply"_s);
    apply->setProperty("kind", u"primary"_s);
    auto *close = new QPushButton(u"Close"_s);
    buttons->addWidget(apply);
    buttons->addWidget(close);
    layout->addLayout(buttons);

    QObject::connect(close, &QPushButton::clicked, dialog, &QDialog::accept);
    QObject::connect(apply, &QPushButton::clicked, dialog, [=, &phone] {
        QJsonObject s = app::loadSettings();
        s.insert(QLatin1StringView(kEnabledKey), enabled->isChecked());
        s.insert(QLatin1StringView(kPortKey), port->value());
        s.insert(QLatin1StringView(kPasswordKey), password->text());
        app::saveSettings(s);
        if (!enabled->isChecked()) {
            phone.stop();
            status->setText(u"Phone access off"_s);
        } else if (password->text().isEmpty()) {
            status->setText(u"Set a phone passcode first"_s);
        } else if (phone.start(quint16(port->value()), password->text())) {
            status->setText(u"Phones browse to:  %1"_s.arg(phone.url()));
        } else {
            status->setText(u"Could not listen on port %1"_s.arg(port->text()));
        }
    });
    tools::runDialog(dialog);
}

} // namespace phone
