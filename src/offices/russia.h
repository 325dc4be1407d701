#pragma once

#include <QString>

struct RunContext;

// Russian documents from the FIPS document server. Each document is one PDF in a folder
// tree that follows from the number alone, so there is no search: the address is worked
// out, fetched, and the file judged by its size. The retrieval chain ends with this call.
void rupto_download(RunContext& ctx, QString& number, const QString& reference);

// The path and query of a number's PDF on the FIPS host. The number part (from the third
// character on, trimmed) decides the form: more than 8 characters is an application number
// with its year ("/rupatimage/NEW2004/100000/110000/111000/2004111793.pdf"), otherwise a
// patent number ("/rupatimage/0/2000000/2200000/2250000/2258000/2258034.pdf").
QString fips_path(const QString& number);
