#pragma once

// What the office tests share: a retriever's outcome told as one line, after an order of one
// number against the simulator (one of its roles misbehaving meanwhile) or a direct call.

#include "foundation/general.h"
#include "order_fixture.h"

#include <QDir>

using Answer = LoopbackServer::Answer;
using Fault = Simulator::Fault;

class OfficeOrders : public OrderTest {
protected:
    // "log records / last status / the PDFs of folder". No job file may stay behind, nor
    // may any file be written outside the test's PDF and temp folders.
    QString told(const QString& folder) {
        EXPECT_EQ(files(), QStringList());
        EXPECT_EQ(files(root), QStringList());
        return logRecords().join(", ") + " / " + host.status() + " / " +
               files(folder).filter(".pdf").join(", ");
    }
    QString ordered(const QString& number, const char* role = "", Fault fault = Fault::None,
                    bool fp = false) {
        if (!sim)
            startSimulator();
        QDir(pdf).removeRecursively();
        sim->set_fault(role, fault);
        closeConnections();
        host.fp = fp;
        order(number);
        sim->set_fault(role, Fault::None);
        return told(pdf + "REF");
    }
    // A direct call without reference; junk of cachedBytes under the name cached before.
    QString called(void (*retriever)(RunContext&, QString&, const QString&), QString number,
                   const QString& cached = "", int cachedBytes = 0) {
        QDir(pdf).removeRecursively();
        QDir().mkpath(pdf);
        host.fp = false;
        ctx.state.order_cancelled = false;
        if (!cached.isEmpty())
            write_file(pdf + cached + ".pdf", QByteArray(cachedBytes, 'x'));
        retriever(ctx, number, "");
        return told(pdf);
    }
};
