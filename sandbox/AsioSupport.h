// Asio, with its sources compiled once, in the library of that name.
#pragma once

#ifndef BOOST_ASIO_SEPARATE_COMPILATION
#define BOOST_ASIO_SEPARATE_COMPILATION
#endif

#include <boost/asio/awaitable.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/system/system_error.hpp>

namespace sandbox {

namespace asio = boost::asio;
using asio::ip::tcp;

} // namespace sandbox
