// Runs the send-key fuzz target without libFuzzer (compilers other than clang): over the seed
// files given on the command line, then over pseudo-random texts built from the syntax's own
// pieces, so that most of them get deep into the parser.
#include <QFile>
#include <QRandomGenerator>
#include <QString>

#include <array>
#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr int kRandomInputs = 5000;

void runOn(const QByteArray& bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                           std::size_t(bytes.size()));
}

QByteArray randomText(QRandomGenerator& random) {
    static constexpr std::array<const char*, 34> kPieces{
        "+",     "^",           "%",     "~",     "(",
        ")",     "{",           "}",     "{TAB}", "{a 3}",
        "{F12}", "{} 2}",       "{{}",   "{}}",   "a",
        "Z",     " ",           "\r",    "\n",    "\t",
        "\x1d",  "{BS 2}",      "{+}",   "é",     "\xf0\x9f\x98\x80",
        "{x ",   "{enter}",     "{F17}", "{ 3}",  "[",
        "]",     "{TAB 10000}", "\xff",  "1"};
    QByteArray text;
    const int pieces = random.bounded(1, 24);
    for (int i = 0; i < pieces; ++i)
        text += kPieces[std::size_t(random.bounded(int(kPieces.size())))];
    return text;
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
        runOn(randomText(random));
    std::printf("%d seeds and %d generated texts: no failure\n", argc - 1, kRandomInputs);
    return 0;
}
