// The one place where the I/O library's own code is compiled.
#include <boost/asio/impl/src.hpp>
