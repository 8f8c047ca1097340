#include "tests/session/steps.h"

#include <chrono>
#include <stdexcept>
#include <thread>

#include "tests/support/recordinglog.h"

namespace SessionTest {

using namespace TestSupport;

SStep On(const std::string& strCommand, const std::string& strReply) {
    return Sequence({Expect(strCommand), Say(strReply + "\r\n")});
}

SStep LogIn(const std::string& strRoot) {
    return Sequence({Say("220 ready\r\n"), On("USER bob", "331 password, please"),
                     On("PASS tea", "230 in"),
                     On("PWD", "257 \"" + strRoot + "\" is the current directory")});
}

SStep Quit() {
    return Sequence({On("QUIT", "221 bye"), ExpectClose()});
}

SStep Cwd(const std::string& strDir) {
    return On("CWD " + strDir, "250 there");
}

SStep TypeImage() {
    return On("TYPE I", "200 image");
}

SStep Passive() {
    return Sequence({Expect("PASV"), SayPassive()});
}

SStep Serve(const std::string& strName, const std::string& strBytes, std::size_t nBlock) {
    return Sequence({Passive(), On("RETR " + strName, "150 here it comes"),
                     SendData(strBytes, nBlock), CloseData(), Say("226 sent\r\n")});
}

SStep Take(const std::string& strName) {
    return Sequence(
        {Passive(), On("STOR " + strName, "150 go ahead"), ReceiveData(), Say("226 stored\r\n")});
}

SStep ServeList(const std::string& strListing, std::size_t nBlock) {
    return Sequence({Passive(), On("LIST", "150 here it comes"), SendData(strListing, nBlock),
                     CloseData(), Say("226 listed\r\n"), On("OPTS UTF8 ON", "200 always")});
}

SStep UntilRead(const std::string& strReplyStart) {
    return Do([=] {
        const std::string strLogged = "[FTPCLIENT]GetRetCode msg begin:" + strReplyStart;
        for (const auto end = Clock::now() + Millis(15000); Clock::now() < end;
             std::this_thread::sleep_for(Millis(2))) {
            for (const std::string& strText : RecordingLog::InfoTexts()) {
                if (strText.compare(0, strLogged.size(), strLogged) == 0) return;
            }
        }
        throw std::runtime_error("the client never read " + strReplyStart);
    });
}

}  // namespace SessionTest
