#include <taviro/ThreadPool.h>

#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

#include <atomic>
#include <memory>
#include <mutex>

namespace {
using _Strand = boost::asio::strand<boost::asio::thread_pool::executor_type>;
std::mutex g_Mutex;
std::unique_ptr<boost::asio::thread_pool> g_Pool;
std::unique_ptr<_Strand> g_Strand;
std::atomic<bool> g_Ready{false};
} // namespace

bool ThreadPool::Start(int threads) {
    std::lock_guard<std::mutex> l(g_Mutex);
    if (g_Pool) return false;
    g_Pool = std::make_unique<boost::asio::thread_pool>((size_t)std::max(threads, 1));
    g_Strand = std::make_unique<_Strand>(boost::asio::make_strand(*g_Pool));
    g_Ready = true;
    return true;
}

void ThreadPool::Stop() {
    std::unique_ptr<boost::asio::thread_pool> pool;
    std::unique_ptr<_Strand> strand;
    {
        std::lock_guard<std::mutex> l(g_Mutex);
        g_Ready = false;
        pool.swap(g_Pool);
        strand.swap(g_Strand);
    }
    if (pool) pool->join(); // without stop(): waits until the posted work is done
}

bool ThreadPool::IsReady() {
    return g_Ready.load();
}

bool ThreadPool::Post(std::function<void()> task) {
    std::lock_guard<std::mutex> l(g_Mutex);
    if (!g_Pool) return false;
    boost::asio::post(*g_Pool, std::move(task));
    return true;
}

bool ThreadPool::PostOrdered(std::function<void()> task) {
    std::lock_guard<std::mutex> l(g_Mutex);
    if (!g_Strand) return false;
    boost::asio::post(*g_Strand, std::move(task));
    return true;
}
