// The readers of every office's replies and the number forms of their addresses: any page
// and any number must give an answer, never a crash. The input is a reply, then after a NUL
// a number.
#include "fuzz_support.h"
#include "offices/australia.h"
#include "offices/canada.h"
#include "offices/china.h"
#include "offices/cn_translation.h"
#include "offices/depatis.h"
#include "offices/epoline.h"
#include "offices/inpi.h"
#include "offices/japan.h"
#include "offices/korea.h"
#include "offices/russia.h"
#include "offices/spain.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QStringList f = fuzz_fields(data, size, 2);
    const QString& page = f.at(0);
    const QString& number = f.at(1);
    const QByteArray body = fuzz_bytes(data, size);

    split_depatis_number(depatis_office_form(number));
    depatis_path(number);
    depatis_answer_is_document(body);

    const EpolineDossier dossier = read_epoline_dossier(page);
    epoline_book_path(epoline_key(number), dossier.selection);
    epoline_dossier_path(number);
    epoline_page_found(page, epoline_key(number));
    epoline_book_is_document(body);

    inpi_search_path(number);
    read_inpi_link(page);
    spain_lookup_path(number);
    spain_document_path(page);

    const QString plain = canada_plain_number(number);
    canada_summary_path(plain);
    const CanadaSummary summary = read_canada_summary(page, plain);
    for (int s = CoverPage; s < kCanadaSections; ++s)
        canada_section_path(plain, summary.stem, CanadaSection(s));

    australia_search(number);
    australia_document_path(read_australia_result(page).link);

    jp_document_address(page, QStringLiteral("http://127.0.0.1:1/p?u="));
    espace2jpo(number);
    fips_path(number);

    kipris_lookup_number(number);
    const QString application = kipris_application(read_kipris_record(page));
    kipris_has_full_text(page);
    kipris_biblio_path(application);
    kipris_document_path(application);

    sipo_search(number);
    const SipoRecord record = read_sipo_record(page);
    sipo_page_count_query(record);
    if (const std::optional<QString> count = read_sipo_page_count(page))
        sipo_count(*count);
    sipo_count(number);
    sipo_relay_path(record.dirno, 1);

    const CnNumber cn = cn_split_number(number);
    cn_search_path(cn);
    read_cn_record_link(page);
    read_cn_detail_address(page);
    read_cn_biblio(page);
    cn_text_link(read_cn_text_links(page), cn.kind);
    const CnTranslationPage next = read_cn_translation_page(page);
    cn_next_page_args(next.viewState.value_or(QString()), next.eventValidation.value_or(QString()));
    return 0;
}
