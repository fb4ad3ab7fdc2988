// Reader of the iproute2 table-name file.
#pragma once

#include <map>
#include <string>

#include "support/paths.h"

// Table name -> number from the file ("%d %15s" per line; '#' lines and unparsable lines
// skipped; the first line that names a table wins). Empty when the file cannot be read.
std::map<std::string, int> loadRouteTables(const std::string& path = ROUTE_TABLES_PATH);
