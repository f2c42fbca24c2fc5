#include "core/shared_state.h"

namespace core {

namespace {
SharedState g_state;
} // namespace

SharedState& shared() {
    return g_state;
}

void resetSharedState() {
    g_state = SharedState{};
}

} // namespace core
