#include "InterviewModels.h"
