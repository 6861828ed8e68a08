// Serves requests, each of which names its user and password, and logs each user on only once:
// lines "USER PASSWORD REQUEST" on standard input. On Windows the program would act for the user by
// the token, for example to reach a share on another computer; elsewhere it stands for the credentials.
//     printf '%s\n' 'ann secret report' 'ann secret backup' 'ann changed report' | log-on-once

#include <Quarn/access/AccessTokenKeeper.h>

#include <cstdio>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

namespace {

std::wstring wide(const std::string& ascii)
{
    return std::wstring(ascii.begin(), ascii.end());
}

/** What each user's last request used; a token may have been replaced since. */
using LastTokens = std::map<std::string, void*>;

//! [token]
bool serve(const std::string& user, const std::string& password, const std::string& request,
           LastTokens& last)
{
    kel::AccessTokenKeeper* const keeper = kel::AccessTokenKeeper::instance();
    void* const token = keeper->getLoggedOnToken(L"requests", wide(user), wide(password));
    if (token == kel::AccessTokenKeeper::noToken) {
        std::printf("%s: %s: could not log on\n", request.c_str(), user.c_str());
        return false;
    }
    void*& former = last[user];
    const char* const how = former == nullptr               ? "logged on"
                            : !keeper->isTokenValid(former) ? "logged on anew: another password"
                                                            : "logged on already";
    former = token; // the keeper's, which closes it
    std::printf("%s: %s %s\n", request.c_str(), user.c_str(), how);
    return true;
}
//! [token]

} // namespace

int main()
{
    bool served = true;
    LastTokens last;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string user, password, request;
        if (words >> user >> password >> request)
            served = serve(user, password, request, last) && served;
        else
            std::fprintf(stderr, "Not \"USER PASSWORD REQUEST\": a line of standard input\n");
    }
    kel::AccessTokenKeeper::killInstance(); // closes the tokens, wipes its copies of the passwords
    return served ? 0 : 1;
}
