#include <Quarn/companion/Exception.h>

namespace kel {

Exception::Exception(const std::string& text) : m_text(text) { }

Exception::Exception(const Exception& other) : std::exception(other), m_text(other.m_text) { }

Exception& Exception::operator=(const Exception& other)
{
    if (this == &other)
        return *this; // what() may still be in use
    m_text = other.m_text;
    std::atomic_store(&m_what, std::shared_ptr<const std::string>());
    return *this;
}

Exception::~Exception() = default;

const char* Exception::what() const noexcept
{
    try {
        auto text = std::atomic_load(&m_what);
        if (!text) {
            std::string generated;
            generateWhat(generated);
            const auto made = std::make_shared<const std::string>(std::move(generated));
            // When another thread was faster, its text is the one that callers hold already.
            if (std::atomic_compare_exchange_strong(&m_what, &text, made))
                text = made;
        }
        return text->c_str();
    } catch (...) {
        return "kel::Exception"; // no memory for more
    }
}

void Exception::generateWhat(std::string& text) const
{
    text = m_text;
}

} // namespace kel
