#include "offices/office_table.h"

#include "offices/australia.h"
#include "offices/canada.h"
#include "offices/china.h"
#include "offices/cn_translation.h"
#include "offices/depatis.h"
#include "offices/epoline.h"
#include "offices/inpi.h"
#include "offices/japan.h"
#include "offices/jpo_translation.h"
#include "offices/korea.h"
#include "offices/russia.h"
#include "offices/spain.h"
#include "offices/uspto.h"
#include "retrieval/company.h"
#include "retrieval/get_patent.h"

#include <algorithm>

const std::vector<Office>& office_table() {
    // The order of the rows is the order of the routing table: the first row that takes a
    // line wins. So "AUA" is tested before a leading digit, and the depatis box last.
    static const std::vector<Office> table{
        {.name = "IP Australia",
         .retriever = "australia_download",
         .download = australia_download,
         .roles = {{"IpAustraliaHost", "pericles.ipaustralia.gov.au"}},
         .routes = {{.begins = "AUA"}},
         .chainPrefix = "AU",
         .chainPlace = 3},
        {.name = "USPTO",
         .retriever = "uspto_download",
         .download = uspto_download,
         .roles = {{"UsptoPdfPatentHost", "pimg-fpiw.uspto.gov"},
                   {"UsptoPdfApplicationHost", "pimg-faiw.uspto.gov"},
                   {"UsptoPatentTextHost", "patft.uspto.gov"},
                   {"UsptoApplicationTextHost", "appft.uspto.gov"},
                   {"UsptoPatentViewerHost1", "patimg1.uspto.gov"},
                   {"UsptoPatentViewerHost2", "patimg2.uspto.gov"},
                   {"UsptoPatentViewerHost3", "patimg3.uspto.gov"},
                   {"UsptoApplicationViewerHost1", "aiw1.uspto.gov"},
                   {"UsptoApplicationViewerHost2", "aiw2.uspto.gov"}},
         // A bare number with a leading digit 1 to 8 is a US patent; the star forces the
         // USPTO for any US form.
         .routes = {{.firstOf = "12345678", .put = "US", .forceUspto = true},
                    {.begins = "*U", .drop = 1, .forceUspto = true},
                    {.begins = "USA"}},
         .chainPrefix = "US",
         .chainPlace = 2},
        {.name = "SIPO",
         .retriever = "cnpto_download",
         .download = cnpto_download,
         .roles = {{"SipoPatentHost", "www.sipo.gov.cn"}},
         .routes = {{.begins = "CN"}}},
        {.name = "EP file inspection",
         .retriever = "epoline_download",
         .download = epoline_download,
         .roles = {{"EpolineHost", "register.epoline.org"}},
         .routes = {{.begins = "FW"}, {.begins = "PW"}}},
        {.name = "INPI",
         .retriever = "inpi_download",
         .download = inpi_download,
         .roles = {{"InpiHost", "www.inpi.fr"}},
         .routes = {{.begins = "FR"}}},
        {.name = "JPO translation",
         .retriever = "jpo_translation_download",
         .download = jpo_translation_download,
         .routes = {{.begins = "MT"}, {.begins = "JP", .ends = "MT"}}},
        {.name = "DEPATISnet",
         .retriever = "depatis_download",
         .routes = {{.begins = "#", .drop = 1}, {.depatisBox = true, .fallback = true}}},
        {.name = "CIPO",
         .retriever = "canada_download",
         .download = canada_download,
         .roles = {{"CipoHost", "patents.ic.gc.ca"}},
         .chainPrefix = "CA",
         .chainPlace = 1},
        {.name = "JPO", .retriever = "jpo_download", .download = jpo_download},
        {.name = "KIPRIS",
         .retriever = "kipris_download",
         .download = kipris_download,
         .roles = {{"KiprisHost", "www.kipris.or.kr"}, {"KiprisOldHost", "patent2.kipris.or.kr"}},
         .chainPrefix = "KR",
         .chainPlace = 4},
        {.name = "FIPS",
         .retriever = "rupto_download",
         .download = rupto_download,
         .roles = {{"FipsHost", "www.fips.ru"}},
         .chainPrefix = "RU",
         .chainPlace = 5},
        {.name = "OEPM",
         .retriever = "spain_download",
         .download = spain_download,
         .roles = {{"OepmHost", "www.oepm.es"}},
         .chainPrefix = "ES",
         .chainPlace = 6},
        {.name = "CN translation",
         .retriever = "cn_translation_download",
         .download = cn_translation_download,
         .roles = {{"CnpatSearchHost", "search.cnpat.com.cn"}}},
    };
    return table;
}

const std::vector<const Office*>& chain_offices() {
    static const std::vector<const Office*> chain = [] {
        std::vector<const Office*> offices;
        for (const Office& o : office_table())
            if (o.chainPrefix)
                offices.push_back(&o);
        std::sort(offices.begin(), offices.end(),
                  [](const Office* a, const Office* b) { return a->chainPlace < b->chainPlace; });
        return offices;
    }();
    return chain;
}

QString office_role_default(const QString& role) {
    for (const Office& o : office_table())
        for (const HostRoleDefault& r : o.roles)
            if (role == QLatin1String(r.role))
                return QString::fromLatin1(r.host);
    return {};
}

void install_retrievers(RunContext& ctx) {
    Retrievers& r = retrievers(ctx);
    r.byName.insert(QStringLiteral("get_patent"), get_patent);
    r.byName.insert(QStringLiteral("wipo_download"), wipo_download);
    for (const Office& o : office_table())
        if (o.download)
            r.byName.insert(QString::fromLatin1(o.retriever), o.download);
    r.depatis_download = depatis_download;
    r.uspto_cartificate = uspto_cartificate;
}
