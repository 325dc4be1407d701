#include "foundation/run_context.h"

#include "foundation/host.h"

RunContext::RunContext(Host& h, Shell& s) : host(h), shell(s) {
    Inet1.onStateChanged = [this](const QString& word) { state.inet_state = word; };
}

RunContext::~RunContext() = default;

float RunContext::Rnd() {
    // The classic generator: x = (x * 1140671485 + 12820163) mod 2^24, never seeded.
    rndState_ = (rndState_ * 1140671485u + 12820163u) & 0xFFFFFFu;
    return float(rndState_) / float(0x1000000);
}

void RunContext::inf(const QString& ee) {
    host.setStatus(ee);
    doEvents(2);
}

void RunContext::infCN(const QString& cninf) {
    host.setStatus(cninf);
    doEvents(1);
}

void RunContext::doEvents(int times) {
    for (int i = 0; i < times; ++i)
        host.doEvents();
}
