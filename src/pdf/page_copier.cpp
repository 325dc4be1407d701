#include "pdf/page_copier.h"

// qpdf's C interface: the same library as its C++ classes, and usable with every compiler
// the project builds with.
#include <qpdf/qpdf-c.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

namespace bq::pdf {

namespace {

constexpr char kEol[] = "\r\n";
// Direct objects nest at most this deep; qpdf's own parser stays well below it.
constexpr int kMaxDepth = 1000;

bool contains(std::string_view hay, std::string_view needle) {
    return hay.find(needle) != std::string_view::npos;
}

// Raised inside the copier when qpdf reports an error; the copy as a whole then fails.
struct CopyFailed : std::runtime_error {
    CopyFailed() : std::runtime_error("qpdf reported an error") {}
};

// Names come decoded from qpdf; anything outside the regular characters is written as #xx.
// An "x" that starts "xref" is escaped too, so the word never occurs before the table.
void appendName(QByteArray& out, std::string_view name) {
    static const char kHex[] = "0123456789ABCDEF";
    out.append('/');
    const std::string_view body = name.substr(name.empty() ? 0 : 1);
    for (size_t i = 0; i < body.size(); ++i) {
        const auto c = static_cast<unsigned char>(body[i]);
        const bool delimiter = c != 0 && std::strchr("()<>[]{}/%#", c) != nullptr;
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
void appendString(QByteArray& out, std::string_view value) {
    size_t binary = 0;
    for (unsigned char c : value)
        binary += (c < 32 || c > 126) ? 1 : 0;
    if (contains(value, "xref") || binary * 4 > value.size()) {
        out.append('<');
        out.append(QByteArray(value.data(), static_cast<qsizetype>(value.size())).toHex());
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

// A zlib stream, as /FlateDecode reads it: qCompress's output without its four-byte length.
QByteArray deflated(const QByteArray& data) {
    const QByteArray packed = qCompress(data);
    return packed.size() > 4 ? packed.mid(4) : QByteArray();
}

bool isVersion(std::string_view v) {
    return v.size() == 3 && v[0] >= '1' && v[0] <= '9' && v[1] == '.' && v[2] >= '0' && v[2] <= '9';
}

// One source document, open in qpdf for the length of one copy.
class Source {
public:
    explicit Source(const QByteArray& bytes) : q_(qpdf_init()) {
        qpdf_silence_errors(q_);
        qpdf_set_suppress_warnings(q_, QPDF_TRUE);
        ok_ = (qpdf_read_memory(q_, "source", bytes.constData(),
                                static_cast<unsigned long long>(bytes.size()), "") &
               QPDF_ERRORS) == 0;
    }
    ~Source() {
        // An error left unread would be reported on stderr by the cleanup.
        while (qpdf_has_error(q_))
            qpdf_get_error(q_);
        qpdf_cleanup(&q_);
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    bool ok() const { return ok_; }
    qpdf_data q() const { return q_; }

    // Throws CopyFailed when the last call left an error behind.
    void check() const {
        if (qpdf_has_error(q_)) {
            qpdf_get_error(q_);
            throw CopyFailed();
        }
    }

private:
    qpdf_data q_;
    bool ok_ = false;
};

class PageCopier {
public:
    PageCopier(Source& source, int firstNumber) : s_(source), q_(source.q()), next_(firstNumber) {}

    std::optional<CopiedPages> copy(int32_t first, int32_t last) {
        const int count = qpdf_get_num_pages(q_);
        s_.check();
        if (count <= 0)
            return std::nullopt;
        if (last < 0 || last > count)
            last = count;
        if (first < 1)
            first = 1;
        if (first > last)
            return std::nullopt;

        std::vector<qpdf_oh> all;
        for (int i = 0; i < count; ++i) {
            all.push_back(qpdf_get_page_n(q_, static_cast<size_t>(i)));
            s_.check();
            sourcePages_.insert(key(all.back()));
        }
        const qpdf_oh root = qpdf_get_root(q_);
        root_ = key(root);
        s_.check();

        for (int i = first - 1; i < last; ++i) {
            const qpdf_oh page = all[static_cast<size_t>(i)];
            if (!qpdf_oh_is_dictionary(q_, page) || !contentDecodes(page))
                return std::nullopt;
            pageKeys_.insert(key(page));
            if (!assign(page)) // the same page object twice in the range
                return std::nullopt;
            result_.pages.push_back(numbers_[key(page)]);
        }
        while (!queue_.empty()) {
            const auto [handle, number] = queue_.front();
            queue_.pop_front();
            writeObject(handle, number);
        }
        collectGroups(root);
        const char* version = qpdf_get_pdf_version(q_);
        if (version && isVersion(version))
            result_.version = QByteArray(version);
        s_.check();
        return std::move(result_);
    }

private:
    using Key = std::pair<int, int>; // object number and generation in the source

    Source& s_;
    qpdf_data q_;
    int next_;
    CopiedPages result_;
    std::set<Key> sourcePages_;
    std::set<Key> pageKeys_; // the pages being copied
    std::map<Key, int> numbers_;
    std::deque<std::pair<qpdf_oh, int>> queue_;
    Key root_;

    Key key(qpdf_oh h) const {
        return {qpdf_oh_get_object_id(q_, h), qpdf_oh_get_generation(q_, h)};
    }

    std::vector<std::string> keysOf(qpdf_oh dict) {
        std::vector<std::string> keys;
        qpdf_oh_begin_dict_key_iter(q_, dict);
        while (qpdf_oh_dict_more_keys(q_))
            keys.emplace_back(qpdf_oh_dict_next_key(q_));
        s_.check();
        return keys;
    }

    // A page whose content cannot be decoded is damaged beyond copying: the source is refused
    // rather than passed on broken.
    bool contentDecodes(qpdf_oh page) {
        const qpdf_oh contents = qpdf_oh_get_key(q_, page, "/Contents");
        std::vector<qpdf_oh> streams;
        if (qpdf_oh_is_array(q_, contents)) {
            for (int i = 0, n = qpdf_oh_get_array_n_items(q_, contents); i < n; ++i)
                streams.push_back(qpdf_oh_get_array_item(q_, contents, i));
        } else {
            streams.push_back(contents);
        }
        for (qpdf_oh stream : streams) {
            if (!qpdf_oh_is_stream(q_, stream))
                continue;
            unsigned char* data = nullptr;
            size_t length = SIZE_MAX; // stays so when no data came back
            const QPDF_ERROR_CODE rc =
                qpdf_oh_get_stream_data(q_, stream, qpdf_dl_generalized, nullptr, &data, &length);
            std::free(data);
            if ((rc & QPDF_ERRORS) || length == SIZE_MAX || qpdf_has_error(q_)) {
                qpdf_get_error(q_);
                return false;
            }
        }
        s_.check();
        return true;
    }

    // Gives an indirect object its output number and queues it for writing. False when it has
    // one already.
    bool assign(qpdf_oh handle) {
        const Key k = key(handle);
        if (numbers_.count(k))
            return false;
        numbers_[k] = next_++;
        queue_.emplace_back(handle, numbers_[k]);
        return true;
    }

    // A reference to an indirect object: "N 0 R", or "null" where the object must not come
    // along (a page that is not copied, the page tree, the catalog) or does not exist.
    void appendReference(QByteArray& out, qpdf_oh handle) {
        const Key k = key(handle);
        auto it = numbers_.find(k);
        if (it == numbers_.end()) {
            const auto type = qpdf_oh_get_type_code(q_, handle);
            s_.check();
            const bool missing = type != ot_boolean && type != ot_integer && type != ot_real &&
                                 type != ot_string && type != ot_name && type != ot_array &&
                                 type != ot_dictionary && type != ot_stream;
            bool excluded = sourcePages_.count(k) || k == root_;
            if (!excluded && type == ot_dictionary) {
                const qpdf_oh kind = qpdf_oh_get_key(q_, handle, "/Type");
                excluded = qpdf_oh_is_name_and_equals(q_, kind, "/Pages") ||
                           qpdf_oh_is_name_and_equals(q_, kind, "/Catalog");
            }
            if (missing || excluded) {
                out.append("null");
                return;
            }
            assign(handle);
            it = numbers_.find(k);
        }
        out.append(QByteArray::number(it->second));
        out.append(" 0 R");
    }

    // The value itself; a nested indirect object is written as a reference. depth 0 is the
    // top level of an indirect object, which is written whole.
    void appendValue(QByteArray& out, qpdf_oh handle, int depth) {
        if (depth > kMaxDepth)
            throw CopyFailed();
        if (depth > 0 && qpdf_oh_is_indirect(q_, handle)) {
            appendReference(out, handle);
            return;
        }
        switch (qpdf_oh_get_type_code(q_, handle)) {
        case ot_boolean:
            out.append(qpdf_oh_get_bool_value(q_, handle) ? "true" : "false");
            break;
        case ot_integer:
            out.append(QByteArray::number(qpdf_oh_get_int_value(q_, handle)));
            break;
        case ot_real:
            out.append(qpdf_oh_get_real_value(q_, handle));
            break;
        case ot_name:
            appendName(out, qpdf_oh_get_name(q_, handle));
            break;
        case ot_string: {
            size_t length = 0;
            const char* value = qpdf_oh_get_binary_string_value(q_, handle, &length);
            appendString(out, std::string_view(value ? value : "", value ? length : 0));
            break;
        }
        case ot_array: {
            out.append('[');
            for (int i = 0, n = qpdf_oh_get_array_n_items(q_, handle); i < n; ++i) {
                if (i)
                    out.append(' ');
                appendValue(out, qpdf_oh_get_array_item(q_, handle, i), depth + 1);
            }
            out.append(']');
            break;
        }
        case ot_dictionary:
            out.append("<<");
            for (const std::string& k : keysOf(handle)) {
                const qpdf_oh value = qpdf_oh_get_key(q_, handle, k.c_str());
                if (qpdf_oh_is_null(q_, value))
                    continue;
                out.append(' ');
                appendName(out, k);
                out.append(' ');
                appendValue(out, value, depth + 1);
            }
            out.append(" >>");
            break;
        default: // null, and the content-stream-only types that cannot occur here
            out.append("null");
            break;
        }
        s_.check();
    }

    // One entry of a top-level dictionary, on a line of its own.
    void appendEntry(QByteArray& out, std::string_view key, qpdf_oh value) {
        appendName(out, key);
        out.append(' ');
        appendValue(out, value, 1);
        out.append(kEol);
    }

    // Top-level dictionaries: "/Type" goes on the "<<" line, so that no line of a copied
    // object starts with it; every other entry has a line of its own.
    void appendDictionary(QByteArray& out, qpdf_oh dict, const std::set<std::string>& skip) {
        out.append("<<");
        const qpdf_oh type = qpdf_oh_get_key(q_, dict, "/Type");
        if (!qpdf_oh_is_null(q_, type) && !skip.count("/Type")) {
            out.append(" /Type ");
            appendValue(out, type, 1);
        }
        out.append(kEol);
        for (const std::string& k : keysOf(dict)) {
            if (k == "/Type" || skip.count(k))
                continue;
            const qpdf_oh value = qpdf_oh_get_key(q_, dict, k.c_str());
            if (!qpdf_oh_is_null(q_, value))
                appendEntry(out, k, value);
        }
    }

    void writeObject(qpdf_oh handle, int number) {
        QByteArray& out = result_.objects;
        result_.offsets.push_back(out.size());
        out.append(QByteArray::number(number));
        out.append(" 0 obj");
        out.append(kEol);
        if (pageKeys_.count(key(handle))) {
            writePage(handle);
        } else if (qpdf_oh_is_stream(q_, handle)) {
            writeStream(handle);
        } else if (qpdf_oh_is_dictionary(q_, handle)) {
            appendDictionary(out, handle, {});
            out.append(">>");
            out.append(kEol);
        } else {
            appendValue(out, handle, 0);
            out.append(kEol);
        }
        out.append("endobj");
        out.append(kEol);
    }

    // A page: "/Type /Page" at the start of a line, the output page tree as its parent, and
    // the attributes that it inherited from its source page tree made its own.
    void writePage(qpdf_oh page) {
        QByteArray& out = result_.objects;
        out.append("<<\r\n/Type /Page\r\n/Parent 2 0 R\r\n");
        for (const std::string& k : keysOf(page)) {
            if (k == "/Type" || k == "/Parent")
                continue;
            const qpdf_oh value = qpdf_oh_get_key(q_, page, k.c_str());
            if (!qpdf_oh_is_null(q_, value))
                appendEntry(out, k, value);
        }
        for (const char* k : {"/Resources", "/MediaBox", "/CropBox", "/Rotate"}) {
            if (!qpdf_oh_is_null(q_, qpdf_oh_get_key(q_, page, k)))
                continue;
            const qpdf_oh value = inherited(page, k);
            if (!qpdf_oh_is_null(q_, value))
                appendEntry(out, k, value);
            else if (std::strcmp(k, "/MediaBox") == 0)
                out.append("/MediaBox [0 0 612 792]\r\n");
            else if (std::strcmp(k, "/Resources") == 0)
                out.append("/Resources << >>\r\n");
        }
        out.append(">>");
        out.append(kEol);
    }

    qpdf_oh inherited(qpdf_oh page, const char* k) {
        std::set<Key> seen;
        qpdf_oh node = qpdf_oh_get_key(q_, page, "/Parent");
        while (qpdf_oh_is_dictionary(q_, node) && seen.insert(key(node)).second) {
            const qpdf_oh value = qpdf_oh_get_key(q_, node, k);
            if (!qpdf_oh_is_null(q_, value))
                return value;
            node = qpdf_oh_get_key(q_, node, "/Parent");
        }
        return qpdf_oh_new_null(q_);
    }

    void writeStream(qpdf_oh stream) {
        unsigned char* raw = nullptr;
        size_t length = 0;
        const QPDF_ERROR_CODE rc =
            qpdf_oh_get_stream_data(q_, stream, qpdf_dl_none, nullptr, &raw, &length);
        QByteArray data(reinterpret_cast<const char*>(raw),
                        raw ? static_cast<qsizetype>(length) : 0);
        std::free(raw);
        if (rc & QPDF_ERRORS)
            throw CopyFailed();
        s_.check();
        const qpdf_oh dict = qpdf_oh_get_dict(q_, stream);

        // Data that would mislead the text-level readers of the file is wrapped in one more
        // filter: deflate, or hex (which can never hold such bytes) if deflate does not help.
        const char* extraFilter = nullptr;
        if (hasTextHazard(data.constData(), static_cast<size_t>(data.size()))) {
            QByteArray packed = deflated(data);
            if (packed.isEmpty() ||
                hasTextHazard(packed.constData(), static_cast<size_t>(packed.size()))) {
                data = data.toHex().toUpper() + '>';
                extraFilter = "/ASCIIHexDecode";
            } else {
                data = std::move(packed);
                extraFilter = "/FlateDecode";
            }
        }

        QByteArray& out = result_.objects;
        std::set<std::string> skip = {"/Length"};
        if (extraFilter)
            skip.insert({"/Filter", "/DecodeParms"});
        appendDictionary(out, dict, skip);
        if (extraFilter)
            appendWrappedFilters(dict, extraFilter);
        out.append("/Length ");
        out.append(QByteArray::number(data.size()));
        out.append("\r\n>>\r\nstream\r\n");
        out.append(data);
        out.append("\r\nendstream\r\n");
    }

    // /Filter and /DecodeParms with the new outer filter put in front of the old ones.
    void appendWrappedFilters(qpdf_oh dict, const char* extraFilter) {
        QByteArray& out = result_.objects;
        const qpdf_oh filter = qpdf_oh_get_key(q_, dict, "/Filter");
        const qpdf_oh parms = qpdf_oh_get_key(q_, dict, "/DecodeParms");
        std::vector<qpdf_oh> filters;
        if (qpdf_oh_is_array(q_, filter)) {
            for (int i = 0, n = qpdf_oh_get_array_n_items(q_, filter); i < n; ++i)
                filters.push_back(qpdf_oh_get_array_item(q_, filter, i));
        } else if (qpdf_oh_is_name(q_, filter)) {
            filters.push_back(filter);
        }
        out.append("/Filter [");
        out.append(extraFilter);
        for (qpdf_oh f : filters) {
            out.append(' ');
            appendValue(out, f, 1);
        }
        out.append("]\r\n");
        if (filters.empty() || qpdf_oh_is_null(q_, parms))
            return;
        out.append("/DecodeParms [null");
        if (qpdf_oh_is_array(q_, parms)) {
            for (int i = 0, n = qpdf_oh_get_array_n_items(q_, parms); i < n; ++i) {
                out.append(' ');
                appendValue(out, qpdf_oh_get_array_item(q_, parms, i), 1);
            }
        } else {
            out.append(' ');
            appendValue(out, parms, 1);
        }
        out.append("]\r\n");
    }

    // Optional content groups of the source that the copied pages use keep their default
    // visibility: they are listed in the output catalog, with those that the source's
    // default view hides.
    void collectGroups(qpdf_oh root) {
        const qpdf_oh properties = qpdf_oh_get_key(q_, root, "/OCProperties");
        const qpdf_oh groups = qpdf_oh_get_key_if_dict(q_, properties, "/OCGs");
        if (!qpdf_oh_is_dictionary(q_, properties) || !qpdf_oh_is_array(q_, groups))
            return;
        const qpdf_oh view = qpdf_oh_get_key_if_dict(q_, properties, "/D");
        const bool baseOff =
            qpdf_oh_is_name_and_equals(q_, qpdf_oh_get_key_if_dict(q_, view, "/BaseState"), "/OFF");
        auto listed = [&](const char* k) {
            std::set<Key> keys;
            const qpdf_oh list = qpdf_oh_get_key_if_dict(q_, view, k);
            if (qpdf_oh_is_array(q_, list))
                for (int i = 0, n = qpdf_oh_get_array_n_items(q_, list); i < n; ++i)
                    keys.insert(key(qpdf_oh_get_array_item(q_, list, i)));
            return keys;
        };
        const std::set<Key> off = listed("/OFF");
        const std::set<Key> on = listed("/ON");
        for (int i = 0, n = qpdf_oh_get_array_n_items(q_, groups); i < n; ++i) {
            const qpdf_oh g = qpdf_oh_get_array_item(q_, groups, i);
            if (!qpdf_oh_is_indirect(q_, g))
                continue;
            auto it = numbers_.find(key(g));
            if (it == numbers_.end())
                continue;
            const bool hidden = baseOff ? !on.count(key(g)) : off.count(key(g)) > 0;
            result_.ocgs.emplace_back(it->second, hidden);
        }
        s_.check();
    }
};

} // namespace

bool hasTextHazard(const char* data, size_t size) {
    const std::string_view text(data, size);
    return contains(text, "xref") || contains(text, " 0 obj") || contains(text, "/Type /Page") ||
           contains(text, "/Type /Catalog");
}

std::optional<CopiedPages> copyPages(const QByteArray& source, int32_t first, int32_t last,
                                     int firstNumber) noexcept {
    try {
        Source pdf(source);
        if (!pdf.ok())
            return std::nullopt;
        return PageCopier(pdf, firstNumber).copy(first, last);
    } catch (...) {
        return std::nullopt;
    }
}

} // namespace bq::pdf
