#pragma once

#include <QString>
#include <cstdint>

// Cuts the five section PDFs of a Canadian document (Can_Source_Path + "_cov.pdf", ...) into
// one single-page PDF per image, Can_To_Pdf_As + "_" + n + ".pdf", counting the pages into
// Can_pages and adding "page:title" entries for the sections to Can_desc.
void can_to_pdf(const QString& Can_To_Pdf_As, const QString& Can_Source_Path, int32_t& Can_pages,
                QString& Can_desc);
