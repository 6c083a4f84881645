#include "sim/site.h"

#include "sim/certs.h"
#include "sim/discovery.h"
#include "sim/templates.h"
#include "sim/unit.h"

using namespace Qt::StringLiterals;

namespace sim {

Site::Site(Options options, QObject *parent)
    : QObject(parent)
    , m_options(std::move(options))
{}

void Site::build()
{
    for (int i = 0; i < m_options.units; ++i) {
        UnitConfig c;
        const QString product = m_options.products[i % m_options.products.size()];
        c.info.product = product;
        c.info.hostname = u"%1-%2"_s.arg(product.toLower().replace(u' ', u'-')).arg(i + 1, 2, 10, QChar(u'0'));
        c.info.unitId = u"KU-%1"_s.arg(4201 + i, 5, 10, QChar(u'0'));
        c.info.address = m_options.unitAddress(i).toString();
        c.info.port = m_options.port;
        c.info.tls = m_options.tls;
        c.info.signedInAs = u"site technician"_s;
        c.passcode = m_options.passcode;
        c.pollMs = m_options.pollMs;
        c.paceMs = m_options.paceMs;
        c.autorun = m_options.autorun;
        c.tokenTtlSec = m_options.tokenTtlSec;
        c.lockoutAfter = m_options.lockoutAfter;
        c.lockoutSec = m_options.lockoutSec;
        c.fixedPasscode = m_options.fixedPasscode.contains(i + 1);
        c.summaryNewline = m_options.summaryNewline;
        c.templates = siteTemplates(i);
        auto *unit = new Unit(c, this);
        unit->quirks().apply(m_options.quirks);
        if (!m_options.startAt.isEmpty())
            unit->flow().startAt(m_options.startAt[i % m_options.startAt.size()]);
        unit->flow().backdate(m_options.doneYesterday);
        m_units.append(unit);
    }
}

QSslConfiguration Site::tlsFor(const Unit *unit, bool other, QString *error) const
{
    CertFiles files{m_options.certFile, m_options.keyFile, {}};
    if (files.cert.isEmpty() || other) {
        // Each unit keeps its own certificate, as real units do; "-other" is its stand-in for a
        // reflashed or replaced unit.
        const QString dir = m_options.certDir.isEmpty() ? defaultCertDir() : m_options.certDir;
        const QString name = unit->config().info.unitId + (other ? u"-other"_s : QString());
        files = ensureCertificate(dir, name, unit->config().info.hostname, unit->config().info.address);
    }
    if (!files.error.isEmpty()) {
        *error = files.error;
        return {};
    }
    return loadTls(files, error);
}

QString Site::configure(int index, const QJsonObject &changes)
{
    Unit *unit = m_units.value(index);
    if (!unit)
        return u"no unit %1"_s.arg(index + 1);
    const Quirks before = unit->quirks();
    if (const QString bad = unit->configure(changes); !bad.isEmpty())
        return u"\"%1\" is not a setting, or its value has the wrong type"_s.arg(bad);
    const Quirks &now = unit->quirks();
    if (now.otherCert != before.otherCert && m_options.tls) {
        QString why;
        const QSslConfiguration tls = tlsFor(unit, now.otherCert, &why);
        if (!why.isEmpty())
            return why;
        unit->presentTls(tls);
    }
    if (now.down != before.down)
        return unit->setDown(now.down);
    return {};
}

bool Site::start()
{
    for (Unit *unit : std::as_const(m_units)) {
        QSslConfiguration tls;
        if (m_options.tls) {
            QString why;
            tls = tlsFor(unit, unit->quirks().otherCert, &why);
            if (!why.isEmpty()) {
                m_error = why;
                return false;
            }
        }
        if (unit->quirks().down)
            continue;
        const QString why = unit->listen(m_options.tls ? &tls : nullptr);
        if (!why.isEmpty()) {
            m_error = u"cannot listen on %1:%2 - %3"_s.arg(unit->config().info.address)
                          .arg(unit->config().info.port)
                          .arg(why);
            return false;
        }
    }
    if (m_options.discovery) {
        m_responder = new Responder(this);
        const QString why = m_responder->start(m_units, quint16(m_options.discoveryPort));
        if (!why.isEmpty()) {
            m_error = why;
            return false;
        }
    }
    return true;
}

QStringList Site::describe() const
{
    QStringList out;
    for (const Unit *unit : m_units) {
        const UnitInfo &u = unit->config().info;
        out << u"unit  %1  %2  %3://%4:%5  %6"_s.arg(u.hostname, u.unitId, u.tls ? u"https"_s : u"http"_s, u.address)
                   .arg(u.port)
                   .arg(u.product);
    }
    return out;
}

} // namespace sim
