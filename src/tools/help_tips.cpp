#include "tools/help_tips.h"

#include "foundation/general.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"

QString help_page() {
    return QStringLiteral("<HTML><BODY><h2 align=center>Loading help<br>Please wait!!</h2>"
                          "<script>document.location='") +
           QStringLiteral("http://") + host_role(QStringLiteral("CompanyWebHost")) +
           QStringLiteral("/help/") + QStringLiteral("';</script></body></html>");
}

void open_help(RunContext& ctx) {
    const QString file = application_folder() + QStringLiteral("help.htm");
    write_file(file, help_page().toLatin1());
    if (file_exists(file))
        ExecuteLink(ctx.host, ctx.shell, file);
}

QString contact_address() {
    return host_role(QStringLiteral("ContactAddress"));
}

QString contact_link() {
    return QStringLiteral("mailto:") + contact_address();
}

QString uspto_tips() {
    return QStringLiteral(
        "<table cellspacing=4>"
        "<tr><th align=left>Number</th><th align=left>Kind of document</th></tr>"
        "<tr><td>US4500000</td><td>Utility patents</td></tr>"
        "<tr><td>USD339456</td><td>Design patents</td></tr>"
        "<tr><td>USPP8901</td><td>Plant patents</td></tr>"
        "<tr><td>USRE35312</td><td>Reissued patents</td></tr>"
        "<tr><td>UST109201</td><td>Defensive publications</td></tr>"
        "<tr><td>USH1523</td><td>SIR documents (Statutory Invention Registration)</td></tr>"
        "</table>"
        "<p>By default patents come from the EPO server. A patent that is not found there is "
        "tried at the USPTO automatically.</p>"
        "<p>A star in front of the number, <b>*US4500000</b>, forces the download from the "
        "USPTO.</p>"
        "<p>Published applications are ordered as USA and the application number: "
        "<b>USA20010000044</b>.</p>");
}

QString espacenet_tips() {
    return QStringLiteral(
        "<p>A publication number is a country code of 2 letters and a running number of 1 to "
        "10 digits. No blanks, zeros or hyphens stand between the country code and the running "
        "number.</p>"
        "<p>Examples: US4500000, DE19850433, DE29919451U (German utility model), WO9852322, "
        "EP990460, US5839510.</p>"
        "<p>PCT publications from the year 2000 on begin with 00 and not 2000: WO0024556.</p>"
        "<p>EP990460B and EP990460B1 retrieve the B1 publication, EP990460B2 the B2 "
        "publication, WO9852322A3 the A3 search report. A3 documents exist for EP and PCT "
        "publications.</p>"
        "<p>Coverage: the documents offered publicly by the EPO. PDF documents come from the "
        "national offices of Austria, Denmark, Ireland, France, Portugal, Belgium, Spain, Italy, "
        "Sweden, Switzerland, Finland, Luxembourg, USA, Cyprus, Great Britain, Monaco, Japan, "
        "Germany, Greece and The Netherlands. EP and PCT published documents are available "
        "since 1978. The major countries start from 1920; for some countries it varies. B "
        "documents exist for many EP publications.</p>");
}

QString whats_new_heading() {
    return QStringLiteral("What's new - 10th February 2009");
}

QString whats_new() {
    struct Note {
        const char* date;
        const char* topic;
        const char* text;
    };
    static const Note notes[] = {
        {"10th February 2009", "Machine translation of Chinese patents",
         "Coverage from 1986. Put MT in front of the number: MTCN1623014 for applications, "
         "MTCN1318662C for C documents."},
        {"18th February 2008", "French B documents",
         "From the French Espacenet, coverage 1989 to date: FR2548175B1."},
        {"10th September 2007", "Korean documents",
         "From the Korean Patent Office: KR100703201, KR20070057977."},
        {"28th September 2006", "Searchable PDF documents",
         "European documents published after 1 January 2000 come as searchable PDF."},
        {"28th September 2006", "Russian Patent Office", "RU2004111793, RU2258034."},
        {"28th September 2006", "Chinese patent documents",
         "From the SIPO site: CN1130774 applications, CN1145230B B documents, CN1110032C C "
         "documents, CN2399461Y granted utility models, CN2468100U unexamined utility models, "
         "CN1146305T Chinese translation of WO0036880."},
        {"1st November 2004", "Machine translation of Japanese documents",
         "Coverage from 1993. Put MT in front of the number: MTJP11000049U2 or MTJP11000049U "
         "utility models, MTJP2004012345 applications, MTJP3504610B2 or MTJP3504610B B "
         "documents."},
        {"1st November 2004", "Japanese documents not on Espacenet",
         "From the JPO site: JP11000049U2 or JP11000049U, JP2004012345, JP3504610B2 or "
         "JP3504610B, JP60501838T (Japanese translation of WO8500621)."},
        {"20th November 2003", "EP corrections",
         "Corrections are added at the end of EP documents from Espacenet."},
        {"10th September 2003", "PCT corrections; front page only",
         "Corrections are added at the end of PCT documents from Espacenet. A check box "
         "downloads the front page only."},
        {"24th July 2003", "INPADOC family search",
         "By publication number without kind codes: US4500000."},
        {"24th July 2003", "PCT publications", "Download on the day of publication."},
        {"24th July 2003", "EP file inspection by patent number",
         "Put PW in front of the number: PWEP1000009."},
        {"4th June 2003", "PDF bookmarks",
         "Espacenet and USPTO documents only; switch on \"Add PDF bookmarks\" under File, "
         "Setup."},
        {"29th November 2002", "GB B documents",
         "Granted after 1 June 2002, as GBnnnnnnnB: GB2367928B."},
        {"15th November 2002", "EP file inspection (file wrappers)",
         "Put FW in front of the application number: FWEP19990402065, FWWO1998US04141. One PDF "
         "with bookmarks, for files with a filing date after 1.1.98."},
        {"29th July 2002", "Update reminder", "A pop-up tells you when an update exists."},
        {"20th June 2002", "Spanish Patent Office",
         "The default when a document is not found on Espacenet."},
        {"29th January 2002", "Equivalent lookup",
         "Looks up the documents available on Espacenet."},
        {"19th November 2001", "New PCT publications",
         "Received direct from WIPO, usually one day after publication, as WOYYNNNNN: "
         "WO0187777."},
        {"8th June 2001", "Download report",
         "Shown when a download ends; a double click opens a document."},
        {"8th June 2001", "DEPATISnet",
         "A check box downloads from there, and German documents; Espacenet is tried when a "
         "document is not found. Coverage from DE1 (1877): DE4446098C2, DE19850433, "
         "DE29919451U."},
        {"8th June 2001", "INPI",
         "French documents; Espacenet is tried when a document is not found."},
        {"30th March 2001", "US published applications",
         "As CCYYYYNNNNNN, a two-digit country code, a four-digit year and a six-digit "
         "number: US2001000044, US2001000009."},
        {"30th March 2001", "Canadian Patent Office",
         "From 1920 onwards, by publication number behind CA: CA2172863, CA1004076. The EPO "
         "server is searched first. The documents are HTML with embedded PDF documents."},
        {"30th March 2001", "Australian Patent Office",
         "A documents from 1995 by application number, as CCAYYYYNNNNNN: AUA199662135, "
         "AUA200053481. B documents from 1996 by publication number: AU728936, AU728918."},
    };
    QString html;
    for (const Note& n : notes)
        html += QStringLiteral("<p><b>%1 &ndash; %2</b><br>%3</p>")
                    .arg(QLatin1String(n.date), QLatin1String(n.topic),
                         QString::fromLatin1(n.text).toHtmlEscaped());
    return html;
}
