#include "foundation/run_context.h"
#include "offices/not_built.h"
#include "offices/uspto.h"
#include "retrieval/company.h"
#include "retrieval/get_patent.h"

void install_default_retrievers(Retrievers& r) {
    r.get_patent = get_patent;
    r.uspto_download = uspto_download;
    r.wipo_download = wipo_download;
    r.australia_download = office_not_built(QStringLiteral("IP Australia"));
    r.cnpto_download = office_falls_back_to_chain();
    r.epoline_download = office_not_built(QStringLiteral("EP file inspection"));
    r.inpi_download = office_falls_back_to_chain();
    r.jpo_translation_download = office_not_built(QStringLiteral("JPO translation"));
    r.jpo_download = [](RunContext&, QString&, const QString&) {};
    r.canada_download = office_not_built(QStringLiteral("CIPO"));
    r.kipris_download = office_not_built(QStringLiteral("KIPRIS"));
    r.rupto_download = office_not_built(QStringLiteral("FIPS"));
    r.spain_download = office_not_built(QStringLiteral("OEPM"));
    r.depatis_download = depatis_not_built;
    r.uspto_cartificate = uspto_cartificate;
}
