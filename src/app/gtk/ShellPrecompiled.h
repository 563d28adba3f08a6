// The headers that nearly every file of the window needs, compiled once per preset. A file must still include
// what it uses.
#pragma once

#include "common/Precompiled.h"
#include "common/Published.h"
#include "common/Queues.h"

#include <adwaita.h>
#include <webkit/webkit.h>
