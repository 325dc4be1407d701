// Replays the inputs of one fuzz target in the ordinary build: every file of the folders
// given, each once. A crash or a sanitizer report fails the test.
#include <QCoreApplication>
#include <QDir>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    int replayed = 0;
    for (const QString& folder : app.arguments().mid(1))
        for (const QFileInfo& file : QDir(folder).entryInfoList(QDir::Files, QDir::Name)) {
            QFile f(file.filePath());
            const QByteArray input = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.constData()),
                                   size_t(input.size()));
            ++replayed;
        }
    std::printf("%d inputs replayed\n", replayed);
    return 0;
}
