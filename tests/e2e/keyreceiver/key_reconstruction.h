#pragma once

#include "platform/send_keys.h"

class QKeyEvent;

namespace keyreceiver {

// The send-key actions a key event stands for, as far as the receiving side can tell: printable
// text as the characters it typed (Shift is in the text), named keys with their modifiers, and
// keys held with Ctrl or Alt as the modifiers plus the key's own character. Events of modifier
// keys alone give nothing.
platform::KeyActions actionsFor(const QKeyEvent& event);

} // namespace keyreceiver
