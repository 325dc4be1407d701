#pragma once

#include <QString>

class Host;

// Writes a one-page PDF from a single-strip Group 4 TIFF by copying the compressed image
// bytes into a fixed skeleton. Replaces an old file; the output appears under its final
// name only when complete.
void tif_to_pdf(Host& host, const QString& Tif_To_Pdf_As, const QString& Tif_Source_Path);
// Runs program_name -o Tif_To_Pdf_As Tif_Source_Path and waits for it to end.
void tif2pdf(Host& host, const QString& Tif_To_Pdf_As, const QString& Tif_Source_Path,
             const QString& program_name);
// Runs program_name -r 10000 -c g4 "Tif_Source_Path" "Tif_output" and waits for it.
void CNtif(Host& host, const QString& Tif_output, const QString& Tif_Source_Path,
           const QString& program_name);
