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
        c.summaryNewline = m_options.summaryNewline;
        c.templates = siteTemplates(i);
        c.ioTemplates = m_options.ioTemplates;
        auto *unit = new Unit(c, this);
        if (!m_options.startAt.isEmpty())
            unit->flow().startAt(m_options.startAt[i % m_options.startAt.size()]);
        unit->flow().backdate(m_options.doneYesterday);
        m_units.append(unit);
    }
}

bool Site::start()
{
    const QString dir = m_options.certDir.isEmpty() ? defaultCertDir() : m_options.certDir;
    for (Unit *unit : std::as_const(m_units)) {
        QSslConfiguration tls;
        if (m_options.tls) {
            CertFiles files{m_options.certFile, m_options.keyFile, {}};
            if (files.cert.isEmpty()) {
                // Each unit keeps its own certificate, as real units do; "-other" is its stand-in
                // for a reflashed or replaced unit.
                const QString name = unit->config().info.unitId + (m_options.otherCert ? u"-other"_s : QString());
                files = ensureCertificate(dir, name, unit->config().info.hostname, unit->config().info.address);
            }
            if (!files.error.isEmpty()) {
                m_error = files.error;
                return false;
            }
            QString why;
            tls = loadTls(files, &why);
            if (!why.isEmpty()) {
                m_error = why;
                return false;
            }
        }
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
