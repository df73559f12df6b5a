#include "Platform/Network/Asio.h"

#include <boost/asio/impl/src.hpp>
#include <boost/asio/ssl/impl/src.hpp>
