#include "tools/service.h"

#include "foundation/registry.h"
#include "foundation/web_control.h"

void set_up_control(WebControl& inet, int timeoutSeconds) {
    inet.Protocol = 4;
    inet.RequestTimeout = timeoutSeconds;
    const QString act = setting(QStringLiteral("ACT"), QStringLiteral("1"));
    if (act == QLatin1String("1")) {
        inet.AccessType = 0;
    } else if (act == QLatin1String("2")) {
        inet.AccessType = 1;
    } else if (act == QLatin1String("3")) {
        inet.AccessType = 2;
        inet.Proxy = setting(QStringLiteral("PROXY"), QString());
    }
}

QString services_url(const QString& prefix, const QString& pathAndQuery) {
    return QStringLiteral("http://") + prefix + host_role(QStringLiteral("CompanyServicesHost")) +
           pathAndQuery;
}

QString proxy_prefix() {
    return setting(QStringLiteral("PROXYUSERID"), QString());
}
