// Runs a fuzz target without libFuzzer (compilers other than clang): over the seed files given
// on the command line, then over pseudo-random inputs built from the target's own pieces
// (FuzzPieces), so that most of them get deep into the code under test.
#include <QByteArray>
#include <QFile>
#include <QRandomGenerator>

#include <cstdint>
#include <cstdio>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
// The pieces inputs are made of, defined by each target.
const std::vector<QByteArray>& FuzzPieces();

namespace {

constexpr int kRandomInputs = 5000;

void runOn(const QByteArray& bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                           std::size_t(bytes.size()));
}

QByteArray randomInput(QRandomGenerator& random) {
    const std::vector<QByteArray>& pieces = FuzzPieces();
    QByteArray input;
    const int count = random.bounded(1, 24);
    for (int i = 0; i < count; ++i)
        input += pieces[std::size_t(random.bounded(int(pieces.size())))];
    return input;
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        QFile seed(QString::fromLocal8Bit(argv[i]));
        if (!seed.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "cannot read %s\n", argv[i]);
            return 2;
        }
        runOn(seed.readAll());
    }
    QRandomGenerator random(12345);
    for (int i = 0; i < kRandomInputs; ++i)
        runOn(randomInput(random));
    std::printf("%d seeds and %d generated inputs: no failure\n", argc - 1, kRandomInputs);
    return 0;
}
