#pragma once

#include <QString>

class WebControl;

// What the side tools share: the company's services host and the set-up of a web control.

// Sets up a web control as every request is made: HTTP, the time-out, and the kind of access
// from the settings ACT and PROXY ("1" default, "2" direct, "3" the named proxy; any other
// value leaves the control as it was).
void set_up_control(WebControl& inet, int timeoutSeconds);

// "http://" + the proxy prefix + CompanyServicesHost + path and query.
QString services_url(const QString& prefix, const QString& pathAndQuery);

// The proxy prefix, PROXYUSERID.
QString proxy_prefix();
