#include "FakeHttpClient.h"
