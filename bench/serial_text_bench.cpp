// How fast scanner bytes become text. A scan is a few dozen bytes, so the decoder is far from
// any limit at 9600 baud; this keeps it that way as it changes. Targets: one scan-sized chunk
// well under a microsecond; mixed text above 50 MB/s even in 7-byte pieces.
#include "platform/serial_text.h"

#include <benchmark/benchmark.h>

namespace {

QByteArray scanChunk() {
    return QByteArrayLiteral("4006381333931\r\n");
}

// ASCII, UTF-8 of two, three and four bytes, and Latin-1 bytes that are not UTF-8.
QByteArray mixedChunk(qsizetype size) {
    const QByteArray piece = QByteArrayLiteral("ABC-123 caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 "
                                               "na\xEFve \xE9t\xE9\r\n");
    QByteArray bytes;
    while (bytes.size() < size)
        bytes += piece;
    return bytes;
}

void decodeChunks(benchmark::State& state, const QByteArray& bytes, qsizetype pieceSize) {
    platform::SerialTextDecoder decoder;
    for (auto _ : state) {
        for (qsizetype at = 0; at < bytes.size(); at += pieceSize)
            benchmark::DoNotOptimize(decoder.decode(
                QByteArrayView(bytes).sliced(at, std::min(pieceSize, bytes.size() - at))));
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}

void BM_DecodeOneScan(benchmark::State& state) {
    const QByteArray bytes = scanChunk();
    decodeChunks(state, bytes, bytes.size());
}
BENCHMARK(BM_DecodeOneScan);

// Pieces of odd sizes cut characters apart, so the held-back tail is exercised.
void BM_DecodeMixedInPieces(benchmark::State& state) {
    decodeChunks(state, mixedChunk(64 * 1024), state.range(0));
}
BENCHMARK(BM_DecodeMixedInPieces)->Arg(7)->Arg(64)->Arg(4096);

} // namespace

BENCHMARK_MAIN();
