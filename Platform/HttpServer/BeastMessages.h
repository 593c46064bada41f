// Between Beast's requests and answers and ours. For sources of this folder.
#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>

#include "HttpServer/HttpTypes.h"

namespace qs {

// Without its body. A path that can't be decoded is empty.
HttpServerRequest requestFrom(const boost::beast::http::request_header<>& head,
                              const boost::asio::ip::tcp::endpoint& peer);
boost::beast::http::response<boost::beast::http::string_body> messageFrom(HttpServerResponse response, unsigned version,
                                                                          bool keepAlive);
// Of an answer whose body is large and follows in pieces.
boost::beast::http::response<boost::beast::http::empty_body> headOf(const HttpServerResponse& response,
                                                                    unsigned version, bool keepAlive);

}  // namespace qs
