#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

namespace platform {

// Turns the bytes of a serial line into text. Scanners send either UTF-8 or a single-byte code
// page, and the program cannot be told which: bytes that form valid UTF-8 are read as UTF-8, and
// every byte that is not part of a valid UTF-8 sequence is read as a Latin-1 character (so a
// scanner set to Latin-1 that sends 0xE9 gives "é"). The line arrives in pieces, so an incomplete
// UTF-8 sequence at the end of a piece is held back and completed by the next one.
class SerialTextDecoder {
public:
    // The text of bytes that follow the earlier ones; a trailing incomplete sequence is held.
    QString decode(QByteArrayView bytes);
    // Gives up waiting for the rest of a held sequence: its bytes as Latin-1 characters.
    QString flush();
    qsizetype heldBytes() const { return held_.size(); }
    void reset() { held_.clear(); }

private:
    QByteArray held_;
};

} // namespace platform
