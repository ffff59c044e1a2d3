// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Log.h"

LogInterface* _logInterface = nullptr;
