#pragma once

#include "retrieval/retrievers.h"

// Offices whose retrievers this build does not have. A number routed to one of them still
// ends in an honest log line, or goes down the retrieval chain where the office's own
// retriever would have fallen back to it.
Retriever office_not_built(const QString& office);
// Falls back to the retrieval chain at once.
Retriever office_falls_back_to_chain();
