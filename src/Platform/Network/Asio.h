// Asio, with its sources compiled once, in the library of the same name. Only sources of this folder may
// include this; headers that other folders include must not need it.
#pragma once

#ifndef BOOST_ASIO_SEPARATE_COMPILATION
#define BOOST_ASIO_SEPARATE_COMPILATION
#endif

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/system/error_code.hpp>

#include <chrono>

namespace platform {

namespace asio = boost::asio;
using boost::system::error_code;

using Executor = asio::io_context::executor_type;
using Socket = asio::basic_stream_socket<asio::ip::tcp, Executor>;
using SteadyTimer = asio::basic_waitable_timer<std::chrono::steady_clock,
                                               asio::wait_traits<std::chrono::steady_clock>, Executor>;

} // namespace platform
