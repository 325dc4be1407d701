#pragma once

// The office fixture with the order run on top: a list typed into Text1, a reference into
// Text2, and the order button pressed.

#include "office_fixture.h"
#include "order/order_run.h"

class OrderTest : public OfficeTest {
protected:
    void order(const QString& list, const QString& reference = QStringLiteral("REF")) {
        host.setText1(list);
        host.setText2(reference);
        order_run(ctx);
    }
    // A document of the order's folder (the reference's sub-folder, "" for none).
    QString file(const QString& name, const QString& folder = QStringLiteral("REF/")) const {
        return pdf + folder + name + QStringLiteral(".pdf");
    }
};
