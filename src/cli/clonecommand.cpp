#include "cli/commandline.h"
#include "git/repositorycloner.h"
#include "model/terminal.h"

#include <csignal>

namespace Cli {

namespace {

// Set by Ctrl+C while a download runs. git, in the same process group, gets the signal too and
// takes away its half-made folder; the download then stops as cancelled and says so.
volatile std::sig_atomic_t interrupted = 0;

extern "C" void interrupt(int)
{
    interrupted = 1;
}

} // namespace

int clone(const Arguments& arguments)
{
    const QString& text = arguments.positional.first();
    const std::optional<RemoteRepository> repository = RemoteRepository::parse(text);
    if (!repository) {
        Terminal::err(CloneError::badURL(text).description() + u'\n');
        return 1;
    }
    interrupted = 0;
    const auto previous = std::signal(SIGINT, interrupt);
    Terminal::Progress progress;
    const CloneOutcome outcome = RepositoryCloner::fetch(
        *repository,
        [&](const CloneProgress& step) {
            if (step.fraction)
                progress.update(step.phase, qRound64(*step.fraction * 100), 100);
            else
                progress.update(step.phase, 0, 0);
        },
        [] { return interrupted != 0; });
    progress.finish();
    std::signal(SIGINT, previous);
    if (outcome.error) {
        Terminal::err(outcome.error->description() + u'\n');
        return 1;
    }
    Terminal::out(outcome.folder + u'\n');
    return 0;
}

} // namespace Cli
