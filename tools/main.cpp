#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "tools/arguments.h"
#include "tools/failure.h"

namespace {

enum EExit { kDone = 0, kFailed = 1, kUsage = 2 };

void PrintMessage(const std::string& strText) {
    (void)std::fprintf(stderr, "qelftp: %s\n", strText.c_str());
}

int Run(int nArguments, char** ppszArguments) {
    qelftp::SRequest request;
    try {
        if (!qelftp::ParseArguments(nArguments, ppszArguments, request)) return kDone;
        request.pCommand->pRun(request.invocation);
        return kDone;
    } catch (const qelftp::CUsageError& error) {
        const std::string strCommand =
            request.pCommand == nullptr ? "" : std::string(request.pCommand->pszName) + " ";
        PrintMessage(std::string(error.what()) + "\nTry 'qelftp " + strCommand + "--help'.");
        return kUsage;
    } catch (const qelftp::CEnd& end) {
        return end.ExitCode();
    } catch (const qelftp::COperationError& error) {
        for (const qelftp::SFailure& failure : error.Failures())
            PrintMessage(qelftp::FailureText(failure));
    } catch (const std::exception& error) {  // no memory, most likely
        PrintMessage(error.what());
    }
    return kFailed;
}

}  // namespace

int main(int argc, char** argv) {
    (void)std::setlocale(LC_ALL, "");  // one that is not there leaves "C"
    // The messages say it all; the library's own lines between them are for whoever asks for them.
    ::setenv("QEL_LOG_LEVEL", "off", 0);
    return Run(argc, argv);
}
