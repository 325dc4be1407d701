#pragma once

#include "retrieval/retrievers.h"

#include <QString>

#include <vector>

// The patent offices: one row each. A row tells the office's host roles with their built-in
// defaults, its rows of the routing table and its place in the retrieval chain's table of
// national offices. The routing, the chain and the host defaults read it; a new office is
// its own file pair and one row here.

struct HostRoleDefault {
    const char* role;
    const char* host;
};

// One row of the routing table: which cleaned, upper-cased lines it takes, and what it
// hands on. The rows of all offices, in the order of the table, are tried one after the
// other; the first that takes a line wins.
struct RouteRow {
    const char* begins = "";  // the line begins with this
    const char* firstOf = ""; // or: its first character is one of these
    const char* ends = "";    // and it ends with this
    bool depatisBox = false;  // the row takes every line while the depatis box is ticked
    int drop = 0;             // characters taken off the front
    const char* put = "";     // text put in front
    bool forceUspto = false;  // sets force_uspto to "1"
    bool fallback = false;    // the third argument of depatis_download
};

struct Office {
    const char* name = "";      // as the user knows it
    const char* retriever = ""; // the retriever's name, as the routing and the chain call it
    Retriever download = {};    // the program's own (depatis_download has one of its own)
    std::vector<HostRoleDefault> roles = {};
    std::vector<RouteRow> routes = {};
    const char* chainPrefix = nullptr; // its row of the chain's national offices, if any
    int chainPlace = 0;                // and that row's place
};

const std::vector<Office>& office_table();

// The chain's national offices, in the order the chain tries their prefixes.
const std::vector<const Office*>& chain_offices();

// The built-in default of an office's host role, "" if no office has that role.
QString office_role_default(const QString& role);

// Installs the program's own retrievers in the context: the chain, the company's WO
// retriever and every office's.
void install_retrievers(RunContext& ctx);
