#pragma once

#include <QString>

// The temporary folder of this test process. XDG_CONFIG_HOME, XDG_CONFIG_DIRS,
// XDG_DATA_HOME, TMPDIR and HOME all point below it.
QString test_root();
