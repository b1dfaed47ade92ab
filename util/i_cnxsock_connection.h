#pragma once
// A TCP connection of the IPv4 family: it connects to a server or listens as one, reads an exact
// number of bytes, writes and closes. Failures come back as results; nothing here throws.
//
// Threads: one thread at a time may read a connection. An ExwConnection may be written to and
// closed by any number of threads beside that reader. HangUp is for any thread and never waits.
// The owner deletes a connection only when no other thread can touch it any more.
//
// Signals: a wait, a connect or an Accept that a signal ends early is a failure like any other and
// gives 0; a write gives -1, or the bytes that went out before. A read is tried again.
//
// Every wait rests on the descriptor sets of the system, so a descriptor of 1,024 or above can't be
// waited for: such a wait fails as a failed `select` does.

#include <atomic>
#include <cstdint>

#include "util/i_os_mutex.h"

/// One TCP socket. Closed (`fd` -1) or open; ConnectService, CreateService and Accept open it from
/// any state, Close closes it, and a closed object may be opened again.
class Connection {
  public:
    Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    /// Closes the socket, by Connection::Close itself whatever a derived class overrides.
    virtual ~Connection();

    /// Sends with one system call and gives its result: the bytes taken, which may be fewer than
    /// `length`, or -1. Gives 0 on a closed connection. A peer that is gone is a failed write and
    /// raises no signal.
    ///
    /// One frame, one Write: put header and body into one buffer (MsgToSend does). In two writes
    /// the second part may wait for the peer's acknowledgement of the first, some 40 ms each time,
    /// unless SetNoDelay was called; and a frame of another thread may come between them.
    virtual std::int32_t Write(const void* buffer, std::int32_t length);

    /// Ends the connection in both directions and gives the descriptor back. `fd` is -1 first of
    /// all, so a second Close does nothing. Descriptor 0 is forgotten, never closed: it is
    /// standard input, whoever put it here.
    virtual void Close();

    /// Ends the connection in both directions and keeps the descriptor, so that whoever is inside
    /// a read, a Write, a wait or an Accept of it wakes at once: reads give what had come and then
    /// 0, writes -1, Accept 0. Never waits, even beside a Write that is stuck on a peer that
    /// doesn't read, where Close would wait for it. What was written and hasn't gone out yet still
    /// goes. Any thread, any number of times, also beside a Close; nothing on a closed connection
    /// or on what is no socket. The owner calls Close, or deletes the object, when all have left.
    void HangUp();

    /// Connects to `hostname` (a dotted address, a name, or empty for this machine) at the low 16
    /// bits of `port`, after closing what was open. With `blocking` 0 it gives up after 1,000 ms,
    /// and the socket stays non-blocking. Gives 1 if `fd` is open at the end, else 0. A socket that
    /// the system connected to itself counts as a failure. The last argument has no effect. A null
    /// `hostname` is a fatal assertion. Names are looked up in the static data of `gethostbyname`,
    /// so two threads must not look up at the same time.
    short ConnectService(const char* hostname, std::int32_t port, short blocking, short ignored);

    /// Reads exactly `length` bytes. Gives 1 when they are there, 0 when the connection is lost and
    /// -1 on a time-out. `timeout` is in milliseconds, none if 0 or negative; it guards the gaps
    /// between the pieces of a block and not the wait for its first byte, and past timeout / 1000 +
    /// 1 seconds the call no longer times out. `got`, if not null, tells at any time how many bytes
    /// have arrived. A read that fails for a passing reason is tried again every 100 ms, and the
    /// hundredth such failure in a row counts as a loss.
    std::int32_t ReadBlock(void* buffer, std::int32_t length, std::int32_t timeout,
                           std::int32_t* got);

    /// Takes what one read delivers, at most `length` bytes, with the patience of ReadBlock:
    /// passing failures are tried again. Gives the count, or 0 when the connection is lost.
    std::int32_t ReadSome(void* buffer, std::int32_t length);

    /// One read: the count, 0 at the end of data or when the connection is lost (ECONNRESET,
    /// ENOTCONN, ESHUTDOWN), -1 for any other failure.
    std::int32_t Read(void* buffer, std::int32_t length);

    /// Makes the descriptor non-blocking; does nothing on a closed connection.
    void SetNonBlocking();

    /// Sends small pieces at once instead of gathering them until the peer has acknowledged the
    /// last ones (TCP_NODELAY); for either side, after ConnectService or Accept. Gives 1, or 0 if
    /// there is no TCP socket.
    short SetNoDelay();

    /// WaitFdReadable on `fd`.
    short WaitReadable(std::int32_t timeout) const;

    /// 1 if `fd` is writable within `timeout` milliseconds, -1 if it is -1, else 0. A negative
    /// time-out waits without limit.
    short WaitWritable(std::int32_t timeout) const;

    /// Listens on the low 16 bits of `port`, on every local address, after closing what was open.
    /// `reuse` not 0 allows a port that still lingers; `tuned` of exactly 1 sets TCP_NODELAY and
    /// the smallest socket buffers for the clients to come. Gives 1 if `fd` listens, else 0.
    short CreateService(std::int32_t port, short reuse, std::int32_t backlog, short tuned);

    /// CreateService on the loopback address alone: clients of this machine reach it at 127.0.0.1,
    /// other machines don't.
    short CreateLocalService(std::int32_t port, short reuse, std::int32_t backlog, short tuned);

    /// The socket's own port, which the system chose if the service was asked for port 0; 0 if
    /// there is none.
    std::int32_t SocketPort() const;

    /// Takes the next client into `client`, whose earlier descriptor is forgotten and not closed.
    /// With `blocking` 0 it gives 0 at once if nobody waits. Gives 1 if a client was taken. The
    /// client's own reads and writes wait either way; SetNonBlocking on it changes that.
    short Accept(Connection& client, short blocking);

    /// Writes the socket's own address as dotted text into `buffer` of at least 20 bytes and gives
    /// 1; gives 0 and leaves `buffer` alone if there is no socket or no address.
    short SocketAddress(char* buffer) const;

    /// Traces "Connection: fd= " and the descriptor.
    void Print() const;

    /// The socket's descriptor, -1 while there is none. Set before `connect` is called and cleared
    /// before `close` is, so any thread that looks sees a socket under way or -1.
    std::atomic<std::int32_t> fd{-1};

  protected:
    friend class BlockReader;
    /// Traces how often a block was read on without a wait, if `verboseIpc` asks and it was more
    /// than once.
    static void traceWaitlessReads(std::int32_t count);

  private:
    void finishConnect();
    short listenOn(std::uint32_t address, std::int32_t port, short reuse, std::int32_t backlog,
                   short tuned);
};

/// A Connection that several threads may write to: each Write goes out whole, and no Close comes
/// into the middle of one.
class ExwConnection : public Connection {
  public:
    ExwConnection();
    /// Runs without the lock: the owner makes sure that no thread uses the object any more.
    ~ExwConnection() override;
    std::int32_t Write(const void* buffer, std::int32_t length) override;
    void Close() override;

  private:
    Mutex* mutex_ = nullptr;  // "mutex_write"
};

/// 1 if `fd` is readable within `timeout` milliseconds, -1 if it is -1, else 0, also when the wait
/// itself fails. 0 polls, a negative time-out waits without limit. Any thread.
short WaitFdReadable(std::int32_t fd, std::int32_t timeout);

/// Fills `buffer` with this machine's name, cut to `size` bytes with its terminator: the host name
/// if that is "localhost", otherwise the node name of the system. Gives 0, or the failure of
/// `gethostname` if neither is known, -1 for a `size` of 0 or less.
int LocalHostName(char* buffer, int size);

/// Writes the peer's address as "%.3d.%.3d.%.3d.%.3d", or " (errno %d)" if it is not known, into
/// `buffer`, which must hold 40 bytes: `size` isn't consulted. Gives the result of `getpeername`.
int PeerAddress(std::int32_t fd, char* buffer, int size);

/// Stores `port` high byte first, as a socket address wants it.
void PutPort(std::uint16_t port, unsigned char* bytes);

/// The calling thread's `errno`.
int LastError();

/// Marks the layer as started and gives 0. This platform needs no other start.
int NetworkStart();

/// Takes the mark of NetworkStart back.
void NetworkStop();
