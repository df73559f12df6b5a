#include "ChatsViewModel.h"
