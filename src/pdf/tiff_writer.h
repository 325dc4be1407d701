#pragma once

#include <QString>

class Host;

// Writes a one-page PDF from a single-strip Group 4 TIFF by copying the compressed image
// bytes into a fixed skeleton. Replaces an old file; the output appears under its final
// name only when complete.
void tif_to_pdf(Host& host, const QString& Tif_To_Pdf_As, const QString& Tif_Source_Path);
// Runs program_name -o Tif_To_Pdf_As Tif_Source_Path and waits for it to end. With a
// time_limit (seconds) above 0, a program still running then is ended and its output deleted.
void tif2pdf(Host& host, const QString& Tif_To_Pdf_As, const QString& Tif_Source_Path,
             const QString& program_name, int time_limit = 0);
// Runs program_name -r 10000 -c g4 "Tif_Source_Path" "Tif_output" and waits for it, bounded
// by time_limit as tif2pdf is.
void CNtif(Host& host, const QString& Tif_output, const QString& Tif_Source_Path,
           const QString& program_name, int time_limit = 0);
