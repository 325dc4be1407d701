#include "tools/service.h"

#include "foundation/registry.h"
#include "foundation/web.h"
#include "foundation/web_control.h"

void set_up_control(WebControl& inet, int timeoutSeconds) {
    apply_access_settings(inet, timeoutSeconds);
}

QString services_url(const QString& prefix, const QString& pathAndQuery) {
    return QStringLiteral("http://") + prefix + host_role(QStringLiteral("CompanyServicesHost")) +
           pathAndQuery;
}

QString proxy_prefix() {
    return setting(QStringLiteral("PROXYUSERID"), QString());
}
