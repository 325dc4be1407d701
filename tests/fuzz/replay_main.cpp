// Replays the inputs of one fuzz target in the ordinary build: every file of the folders
// given, each once. A crash or a sanitizer report fails the test.
#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        const QDir folder(QString::fromLocal8Bit(argv[i]));
        for (const QString& name : folder.entryList(QDir::Files, QDir::Name)) {
            QFile f(folder.filePath(name));
            if (!f.open(QIODevice::ReadOnly))
                continue;
            const QByteArray input = f.readAll();
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.constData()),
                                   size_t(input.size()));
            ++replayed;
        }
    }
    std::printf("%d inputs replayed\n", replayed);
    return 0;
}
