#include "foundation/run_context.h"

#include "foundation/host.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

RunContext::RunContext(Host& h, Shell& s) : host(h), shell(s) {
    Inet1.onStateChanged = [this](const QString& word) { state.inet_state = word; };
    inet2_[0] = std::make_unique<WebControl>();
    install_default_retrievers(retrievers);
}

RunContext::~RunContext() = default;

WebControl& RunContext::Inet2(int index) {
    if (index < 0 || index >= PageLoopState::kSlots)
        index = 0;
    if (!inet2_[size_t(index)])
        inet2_[size_t(index)] = std::make_unique<WebControl>();
    return *inet2_[size_t(index)];
}

bool RunContext::Inet2Loaded(int index) const {
    return index >= 0 && index < PageLoopState::kSlots && inet2_[size_t(index)] != nullptr;
}

void RunContext::LoadInet2(int index) {
    if (index > 0 && index < PageLoopState::kSlots && !inet2_[size_t(index)])
        inet2_[size_t(index)] = std::make_unique<WebControl>();
}

void RunContext::UnloadInet2(int index) {
    if (index > 0 && index < PageLoopState::kSlots && inet2_[size_t(index)]) {
        inet2_[size_t(index)]->Cancel();
        // The control may be unloaded from inside its own finish handling: let the event
        // loop delete it.
        inet2_[size_t(index)].release()->deleteLater();
    }
}

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

void RunContext::waitForWebEvents() {
    // Sleeps until some web control's request ends, or a quarter second has passed, running
    // the window's events meanwhile. A request that ended while the caller was busy is
    // caught by the caller's own polling before it waits again.
    QEventLoop loop;
    QObject::connect(&WebNotifier::instance(), &WebNotifier::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(250, &loop, &QEventLoop::quit);
    loop.exec();
}
