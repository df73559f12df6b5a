#include "InterviewViewModel.h"
