#include "CompletionViewModel.h"
