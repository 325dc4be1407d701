#include "pdf/output_document.h"

// qpdf: use std::shared_ptr throughout, without the old PointerHolder.
#define POINTERHOLDER_TRANSITION 4

#include <qpdf/Buffer.hh>
#include <qpdf/Pl_Buffer.hh>
#include <qpdf/Pl_Discard.hh>
#include <qpdf/Pl_Flate.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace bq::pdf {

namespace {

constexpr char kEol[] = "\r\n";
// "%PDF-d.d" CR LF "%" and four bytes above 127 CR LF: always 17 bytes, so body offsets do
// not depend on the version finally written.
constexpr int64_t kHeaderSize = 17;
// Direct objects nest at most this deep; qpdf's own parser stays well below it.
constexpr int kMaxDepth = 1000;

bool contains(std::string_view hay, std::string_view needle) {
    return hay.find(needle) != std::string_view::npos;
}

void appendInt(QByteArray& out, long long value) {
    out.append(QByteArray::number(value));
}

// Names come decoded from qpdf; anything outside the regular characters is written as #xx.
// An "x" that starts "xref" is escaped too, so the word never occurs before the table.
void appendName(QByteArray& out, const std::string& name) {
    static const char kHex[] = "0123456789ABCDEF";
    out.append('/');
    const std::string_view body = std::string_view(name).substr(name.empty() ? 0 : 1);
    for (size_t i = 0; i < body.size(); ++i) {
        const auto c = static_cast<unsigned char>(body[i]);
        const bool delimiter = std::strchr("()<>[]{}/%#", c) != nullptr && c != 0;
        const bool hazard = c == 'x' && body.substr(i, 4) == "xref";
        if (c < 33 || c > 126 || delimiter || hazard) {
            out.append('#');
            out.append(kHex[c >> 4]);
            out.append(kHex[c & 15]);
        } else {
            out.append(static_cast<char>(c));
        }
    }
}

// Literal strings keep their bytes, with line ends escaped so that no line break appears
// outside stream data. Strings holding "xref" or mostly binary bytes are written in hex.
void appendString(QByteArray& out, const std::string& value) {
    size_t binary = 0;
    for (unsigned char c : value)
        binary += (c < 32 || c > 126) ? 1 : 0;
    if (contains(value, "xref") || binary * 4 > value.size()) {
        static const char kHex[] = "0123456789ABCDEF";
        out.append('<');
        for (unsigned char c : value) {
            out.append(kHex[c >> 4]);
            out.append(kHex[c & 15]);
        }
        out.append('>');
        return;
    }
    out.append('(');
    for (char c : value) {
        switch (c) {
        case '\\':
            out.append("\\\\");
            break;
        case '(':
            out.append("\\(");
            break;
        case ')':
            out.append("\\)");
            break;
        case '\r':
            out.append("\\r");
            break;
        case '\n':
            out.append("\\n");
            break;
        default:
            out.append(c);
        }
    }
    out.append(')');
}

std::string flate(const std::string& data) {
    Pl_Buffer sink("flate out");
    Pl_Flate deflate("flate", &sink, Pl_Flate::a_deflate);
    deflate.write(reinterpret_cast<const unsigned char*>(data.data()), data.size());
    deflate.finish();
    auto buffer = sink.getBufferSharedPointer();
    return std::string(reinterpret_cast<const char*>(buffer->getBuffer()), buffer->getSize());
}

std::string asciiHex(const std::string& data) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(data.size() * 2 + 1);
    for (unsigned char c : data) {
        out.push_back(kHex[c >> 4]);
        out.push_back(kHex[c & 15]);
    }
    out.push_back('>');
    return out;
}

bool isVersion(const std::string& v) {
    return v.size() == 3 && v[0] >= '1' && v[0] <= '9' && v[1] == '.' && v[2] >= '0' && v[2] <= '9';
}

} // namespace

bool OutputDocument::hasTextHazard(const char* data, size_t size) {
    const std::string_view text(data, size);
    return contains(text, "xref") || contains(text, " 0 obj") || contains(text, "/Type /Page") ||
           contains(text, "/Type /Catalog");
}

// Copies pages of one source into an OutputDocument. All output of one call goes to a local
// buffer first, so a failure half-way leaves the document untouched.
class PageCopier {
public:
    PageCopier(const OutputDocument& doc, QPDF& source) : doc_(doc), source_(source) {}

    bool copy(int32_t first, int32_t last) {
        const std::vector<QPDFObjectHandle>& all = source_.getAllPages();
        const int count = static_cast<int>(all.size());
        if (count == 0)
            return false;
        if (last < 0 || last > count)
            last = count;
        if (first < 1)
            first = 1;
        if (first > last)
            return false;

        for (const auto& page : all)
            sourcePages_.insert(page.getObjGen());
        root_ = source_.getRoot().getObjGen();

        std::vector<QPDFObjectHandle> chosen(all.begin() + (first - 1), all.begin() + last);
        std::vector<int> pageNumbers;
        for (auto& page : chosen) {
            if (!page.isDictionary() || !contentDecodes(page))
                return false;
            const int number = assign(page);
            if (number < 0) // the same page object twice in the range
                return false;
            pageNumbers.push_back(number);
        }
        while (!queue_.empty()) {
            auto [handle, number] = queue_.front();
            queue_.pop_front();
            writeObject(handle, number);
        }
        collectGroups();
        pages_ = std::move(pageNumbers);
        return true;
    }

    // What one call produced: the objects' text, where each object starts in it, the page
    // numbers, the optional content groups (with their default state) and the version.
    QByteArray chunk_;
    std::vector<int64_t> offsets_;
    std::vector<int> pages_;
    std::vector<std::pair<int, bool>> ocgs_;

    QByteArray version() const {
        const std::string v = source_.getPDFVersion();
        return isVersion(v) ? QByteArray::fromStdString(v) : QByteArray();
    }

private:
    const OutputDocument& doc_;
    QPDF& source_;
    std::set<QPDFObjGen> sourcePages_;
    std::map<QPDFObjGen, int> numbers_;
    std::set<QPDFObjGen> pagesCopied_;
    std::deque<std::pair<QPDFObjectHandle, int>> queue_;
    QPDFObjGen root_;

    // A page whose content cannot be decoded is damaged beyond copying: the source is refused
    // rather than passed on broken.
    static bool contentDecodes(QPDFObjectHandle page) {
        QPDFObjectHandle contents = page.getKey("/Contents");
        std::vector<QPDFObjectHandle> streams;
        if (contents.isArray())
            streams = contents.getArrayAsVector();
        else
            streams.push_back(contents);
        for (auto& stream : streams) {
            if (!stream.isStream())
                continue;
            Pl_Discard sink;
            bool attempted = false;
            if (!stream.pipeStreamData(&sink, &attempted, 0, qpdf_dl_generalized, true, false))
                return false;
        }
        return true;
    }

    // Gives an indirect object its output number, queueing it for writing. -1 when it is
    // assigned already.
    int assign(QPDFObjectHandle& handle) {
        const QPDFObjGen og = handle.getObjGen();
        if (numbers_.count(og))
            return -1;
        const int number = doc_.nextNumber() + static_cast<int>(numbers_.size());
        numbers_[og] = number;
        if (sourcePages_.count(og))
            pagesCopied_.insert(og);
        queue_.emplace_back(handle, number);
        return number;
    }

    // The text for a reference to an indirect object: "N 0 R", or "null" where the object
    // must not come along (a page that is not copied, the page tree, the catalog) or does
    // not exist.
    void appendReference(QByteArray& out, QPDFObjectHandle handle) {
        const QPDFObjGen og = handle.getObjGen();
        auto it = numbers_.find(og);
        if (it != numbers_.end()) {
            appendInt(out, it->second);
            out.append(" 0 R");
            return;
        }
        const auto type = handle.getTypeCode();
        const bool missing = type == ot_null || type == ot_uninitialized || type == ot_reserved ||
                             type == ot_destroyed || type == ot_operator || type == ot_inlineimage;
        bool excluded = sourcePages_.count(og) || og == root_;
        if (!excluded && type == ot_dictionary) {
            QPDFObjectHandle kind = handle.getKey("/Type");
            excluded = kind.isNameAndEquals("/Pages") || kind.isNameAndEquals("/Catalog");
        }
        if (missing || excluded) {
            out.append("null");
            return;
        }
        const int number = assign(handle);
        appendInt(out, number);
        out.append(" 0 R");
    }

    // The value itself; a nested indirect object is written as a reference. depth 0 is the
    // top level of an indirect object, which is written whole.
    void appendDirect(QByteArray& out, QPDFObjectHandle handle, int depth) {
        if (depth > kMaxDepth)
            throw std::runtime_error("objects nested too deeply");
        if (depth > 0 && handle.isIndirect()) {
            appendReference(out, handle);
            return;
        }
        switch (handle.getTypeCode()) {
        case ot_boolean:
            out.append(handle.getBoolValue() ? "true" : "false");
            break;
        case ot_integer:
            appendInt(out, handle.getIntValue());
            break;
        case ot_real:
            out.append(QByteArray::fromStdString(handle.getRealValue()));
            break;
        case ot_name:
            appendName(out, handle.getName());
            break;
        case ot_string:
            appendString(out, handle.getStringValue());
            break;
        case ot_array: {
            out.append('[');
            bool firstItem = true;
            for (auto item : handle.aitems()) {
                if (!firstItem)
                    out.append(' ');
                firstItem = false;
                appendDirect(out, item, depth + 1);
            }
            out.append(']');
            break;
        }
        case ot_dictionary:
            out.append("<<");
            for (auto [key, value] : handle.ditems()) {
                if (value.isNull())
                    continue;
                out.append(' ');
                appendName(out, key);
                out.append(' ');
                appendDirect(out, value, depth + 1);
            }
            out.append(" >>");
            break;
        default: // null, and the content-stream-only types that cannot occur here
            out.append("null");
            break;
        }
    }

    // One entry of a top-level dictionary, on a line of its own.
    void appendEntry(QByteArray& out, const std::string& key, QPDFObjectHandle value) {
        appendName(out, key);
        out.append(' ');
        appendDirect(out, value, 1);
        out.append(kEol);
    }

    // Top-level dictionaries: "/Type" goes on the "<<" line, so that no line of a copied
    // object starts with it; every other entry has a line of its own.
    void appendDictionary(QByteArray& out, QPDFObjectHandle dict,
                          const std::set<std::string>& skip) {
        out.append("<<");
        QPDFObjectHandle type = dict.getKey("/Type");
        if (!type.isNull() && !skip.count("/Type")) {
            out.append(" /Type ");
            appendDirect(out, type, 1);
        }
        out.append(kEol);
        for (auto [key, value] : dict.ditems()) {
            if (key == "/Type" || skip.count(key) || value.isNull())
                continue;
            appendEntry(out, key, value);
        }
    }

    void beginObject(int number) {
        offsets_.push_back(chunk_.size());
        appendInt(chunk_, number);
        chunk_.append(" 0 obj");
        chunk_.append(kEol);
    }

    void endObject() {
        chunk_.append("endobj");
        chunk_.append(kEol);
    }

    void writeObject(QPDFObjectHandle handle, int number) {
        beginObject(number);
        if (pagesCopied_.count(handle.getObjGen()))
            writePage(handle);
        else if (handle.isStream())
            writeStream(handle);
        else if (handle.isDictionary()) {
            appendDictionary(chunk_, handle, {});
            chunk_.append(">>");
            chunk_.append(kEol);
        } else {
            // A top-level non-dictionary (array, number, ...) on one line.
            appendDirect(chunk_, handle, 0);
            chunk_.append(kEol);
        }
        endObject();
    }

    // A page: "/Type /Page" at the start of a line, the output page tree as its parent, and
    // the attributes that it inherited from its source page tree made its own.
    void writePage(QPDFObjectHandle page) {
        chunk_.append("<<");
        chunk_.append(kEol);
        chunk_.append("/Type /Page");
        chunk_.append(kEol);
        chunk_.append("/Parent 2 0 R");
        chunk_.append(kEol);
        for (auto [key, value] : page.ditems()) {
            if (key == "/Type" || key == "/Parent" || value.isNull())
                continue;
            appendEntry(chunk_, key, value);
        }
        for (const char* key : {"/Resources", "/MediaBox", "/CropBox", "/Rotate"}) {
            if (!page.getKey(key).isNull())
                continue;
            QPDFObjectHandle value = inherited(page, key);
            if (!value.isNull())
                appendEntry(chunk_, key, value);
            else if (std::strcmp(key, "/MediaBox") == 0)
                chunk_.append("/MediaBox [0 0 612 792]\r\n");
            else if (std::strcmp(key, "/Resources") == 0)
                chunk_.append("/Resources << >>\r\n");
        }
        chunk_.append(">>");
        chunk_.append(kEol);
    }

    static QPDFObjectHandle inherited(QPDFObjectHandle page, const char* key) {
        std::set<QPDFObjGen> seen;
        QPDFObjectHandle node = page.getKey("/Parent");
        while (node.isDictionary() && seen.insert(node.getObjGen()).second) {
            QPDFObjectHandle value = node.getKey(key);
            if (!value.isNull())
                return value;
            node = node.getKey("/Parent");
        }
        return QPDFObjectHandle::newNull();
    }

    void writeStream(QPDFObjectHandle stream) {
        std::shared_ptr<Buffer> raw = stream.getRawStreamData();
        std::string data(reinterpret_cast<const char*>(raw->getBuffer()), raw->getSize());
        QPDFObjectHandle dict = stream.getDict();

        // Data that would mislead the text-level readers of the file is wrapped in one more
        // filter: deflate, or hex (which can never hold such bytes) if deflate does not help.
        const char* extraFilter = nullptr;
        if (OutputDocument::hasTextHazard(data.data(), data.size())) {
            std::string packed = flate(data);
            if (OutputDocument::hasTextHazard(packed.data(), packed.size())) {
                data = asciiHex(data);
                extraFilter = "/ASCIIHexDecode";
            } else {
                data = std::move(packed);
                extraFilter = "/FlateDecode";
            }
        }

        std::set<std::string> skip = {"/Length"};
        if (extraFilter)
            skip.insert({"/Filter", "/DecodeParms"});
        appendDictionary(chunk_, dict, skip);
        if (extraFilter)
            appendWrappedFilters(dict, extraFilter);
        chunk_.append("/Length ");
        appendInt(chunk_, static_cast<long long>(data.size()));
        chunk_.append(kEol);
        chunk_.append(">>");
        chunk_.append(kEol);
        chunk_.append("stream");
        chunk_.append(kEol);
        chunk_.append(data.data(), static_cast<qsizetype>(data.size()));
        chunk_.append(kEol);
        chunk_.append("endstream");
        chunk_.append(kEol);
    }

    // /Filter and /DecodeParms with the new outer filter put in front of the old ones.
    void appendWrappedFilters(QPDFObjectHandle dict, const char* extraFilter) {
        QPDFObjectHandle filter = dict.getKey("/Filter");
        QPDFObjectHandle parms = dict.getKey("/DecodeParms");
        std::vector<QPDFObjectHandle> filters;
        if (filter.isArray())
            filters = filter.getArrayAsVector();
        else if (filter.isName())
            filters.push_back(filter);
        chunk_.append("/Filter [");
        chunk_.append(extraFilter);
        for (auto& f : filters) {
            chunk_.append(' ');
            appendDirect(chunk_, f, 1);
        }
        chunk_.append(']');
        chunk_.append(kEol);
        if (filters.empty() || parms.isNull())
            return;
        chunk_.append("/DecodeParms [null");
        if (parms.isArray()) {
            for (auto p : parms.aitems()) {
                chunk_.append(' ');
                appendDirect(chunk_, p, 1);
            }
        } else {
            chunk_.append(' ');
            appendDirect(chunk_, parms, 1);
        }
        chunk_.append(']');
        chunk_.append(kEol);
    }

    // Optional content groups of the source that the copied pages use keep their default
    // visibility: they are listed in the output catalog, with those that the source's
    // default view hides.
    void collectGroups() {
        QPDFObjectHandle properties = source_.getRoot().getKey("/OCProperties");
        if (!properties.isDictionary() || !properties.getKey("/OCGs").isArray())
            return;
        QPDFObjectHandle view = properties.getKey("/D");
        const bool baseOff =
            view.isDictionary() && view.getKey("/BaseState").isNameAndEquals("/OFF");
        auto listed = [&](const char* key) {
            std::set<QPDFObjGen> groups;
            QPDFObjectHandle list =
                view.isDictionary() ? view.getKey(key) : QPDFObjectHandle::newNull();
            if (list.isArray())
                for (auto g : list.aitems())
                    groups.insert(g.getObjGen());
            return groups;
        };
        const std::set<QPDFObjGen> off = listed("/OFF");
        const std::set<QPDFObjGen> on = listed("/ON");
        for (auto g : properties.getKey("/OCGs").aitems()) {
            if (!g.isIndirect())
                continue;
            auto it = numbers_.find(g.getObjGen());
            if (it == numbers_.end())
                continue;
            const bool isOff = baseOff ? !on.count(g.getObjGen()) : off.count(g.getObjGen()) > 0;
            ocgs_.emplace_back(it->second, isOff);
        }
    }
};

OutputDocument::OutputDocument(QString target)
    : target_(std::move(target)), partPath_(target_ + QStringLiteral(".part")) {}

OutputDocument::~OutputDocument() {
    if (part_) {
        part_->close();
        QFile::remove(partPath_);
    }
}

QByteArray OutputDocument::header() const {
    return "%PDF-" + version_ + "\r\n%\xE2\xE3\xCF\xD3\r\n";
}

// The copied objects go to a file beside the target as they are made, so that memory holds
// one source at a time. Where that file cannot be made they are kept in memory.
bool OutputDocument::store(const QByteArray& chunk) {
    if (!part_ && !inMemory_) {
        part_ = std::make_unique<QFile>(partPath_);
        if (!part_->open(QIODevice::ReadWrite | QIODevice::Truncate) ||
            part_->write(header()) != kHeaderSize) {
            part_.reset();
            QFile::remove(partPath_);
            inMemory_ = true;
        }
    }
    if (inMemory_) {
        memoryBody_.append(chunk);
    } else if (part_->write(chunk) != chunk.size()) {
        // Take back what went out, so the file stays as it was before this call.
        part_->resize(kHeaderSize + bodySize_);
        part_->seek(kHeaderSize + bodySize_);
        return false;
    }
    bodySize_ += chunk.size();
    return true;
}

bool OutputDocument::appendPages(const QByteArray& source, int32_t first, int32_t last) noexcept {
    try {
        QPDF pdf;
        pdf.setSuppressWarnings(true);
        pdf.processMemoryFile("source", source.constData(), static_cast<size_t>(source.size()));
        PageCopier copier(*this, pdf);
        if (!copier.copy(first, last))
            return false;
        const int64_t base = bodySize_;
        if (!store(copier.chunk_))
            return false;
        for (int64_t offset : copier.offsets_)
            offsets_.push_back(base + offset);
        pages_.insert(pages_.end(), copier.pages_.begin(), copier.pages_.end());
        for (const auto& [number, off] : copier.ocgs_) {
            ocgs_.push_back(number);
            if (off)
                ocgsOff_.push_back(number);
        }
        const QByteArray version = copier.version();
        if (version > version_)
            version_ = version;
        return true;
    } catch (...) {
        return false;
    }
}

QByteArray OutputDocument::tail() const {
    QByteArray out;
    const int64_t catalogOffset = kHeaderSize + bodySize_;
    out.append("1 0 obj\r\n<<\r\n/Type /Catalog\r\n/Pages 2 0 R\r\n");
    if (!ocgs_.empty()) {
        auto list = [](const std::vector<int>& numbers) {
            QByteArray text = "[";
            for (size_t i = 0; i < numbers.size(); ++i) {
                if (i)
                    text.append(' ');
                text.append(QByteArray::number(numbers[i])).append(" 0 R");
            }
            return text.append(']');
        };
        out.append("/OCProperties << /OCGs ").append(list(ocgs_));
        out.append(" /D << /OFF ").append(list(ocgsOff_)).append(" >> >>\r\n");
    }
    out.append(">>\r\nendobj\r\n");
    const int64_t pagesOffset = catalogOffset + out.size();
    // "/Type /Pages" stays off the start of a line, so that counting lines that start with
    // "/Type /Page" counts pages only.
    out.append("2 0 obj\r\n<< /Type /Pages\r\n/Count ");
    out.append(QByteArray::number(static_cast<qlonglong>(pages_.size())));
    out.append("\r\n/Kids [");
    for (size_t i = 0; i < pages_.size(); ++i) {
        if (i)
            out.append(i % 10 == 0 ? "\r\n" : " ");
        out.append(QByteArray::number(pages_[i])).append(" 0 R");
    }
    out.append("]\r\n>>\r\nendobj\r\n");

    const int64_t xrefOffset = catalogOffset + out.size();
    const int size = nextNumber();
    out.append("xref\r\n0 ").append(QByteArray::number(size)).append("\r\n");
    out.append("0000000000 65535 f\r\n");
    char line[32];
    auto entry = [&](int64_t offset) {
        std::snprintf(line, sizeof line, "%010lld 00000 n\r\n", static_cast<long long>(offset));
        out.append(line, 20);
    };
    entry(catalogOffset);
    entry(pagesOffset);
    for (int64_t offset : offsets_)
        entry(kHeaderSize + offset);
    out.append("trailer\r\n<<\r\n/Size ").append(QByteArray::number(size));
    out.append("\r\n/Root 1 0 R\r\n>>\r\nstartxref\r\n");
    out.append(QByteArray::number(static_cast<qlonglong>(xrefOffset))).append("\r\n%%EOF\r\n");
    return out;
}

bool OutputDocument::finish() noexcept {
    try {
        if (pages_.empty())
            return false;
        const QByteArray rest = tail();
        const QByteArray target = QFile::encodeName(target_);
        if (inMemory_) {
            QFile file(target_);
            return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
                   file.write(header()) == kHeaderSize && file.write(memoryBody_) == bodySize_ &&
                   file.write(rest) == rest.size();
        }
        // The header is written again now that the highest version is known.
        bool ok = part_->seek(0) && part_->write(header()) == kHeaderSize &&
                  part_->seek(kHeaderSize + bodySize_) && part_->write(rest) == rest.size();
        part_->close();
        ok = ok && part_->error() == QFileDevice::NoError;
        part_.reset();
        ok = ok && std::rename(QFile::encodeName(partPath_).constData(), target.constData()) == 0;
        if (!ok)
            QFile::remove(partPath_);
        return ok;
    } catch (...) {
        return false;
    }
}

} // namespace bq::pdf
