#include "server.h"

#include <thread>

using namespace std::chrono_literals;

Server::Server(int port) : m_port(port), m_running(false) {}

Server::~Server()
{
    stop();
}

void Server::start()
{
    m_running = true;
    m_thread = std::thread(&Server::serve, this);
    std::thread watchdog(checkHealth);
    watchdog.detach();
}

void Server::stop()
{
    m_running = false;
    if (m_thread.joinable())
        m_thread.join();
}

void Server::serve()
{
    while (m_running) {
        auto request = accept();
        handle(request);
    }
}

void checkHealth()
{
    std::this_thread::sleep_for(5s);
}

int main(int argc, char** argv)
{
    Server server(argc > 1 ? std::atoi(argv[1]) : 8080);
    server.start();
    return 0;
}
