// A program with one defect of each kind, for the test that the sanitizers report it.

#include <cstddef>
#include <limits>
#include <memory>
#include <string_view>

namespace {

int useAfterFree(int index) {
    const int* number = nullptr;
    {
        const auto numbers = std::make_unique<int[]>(2);
        number = numbers.get();
    }
    return number[index]; // use-after-free
}

int useAfterReturn(int index) {
    const auto local = [](int value) {
        volatile int numbers[2] = {value, value};
        volatile int* number = numbers;
        return number;
    };
    return local(1)[index]; // use-after-return
}

int overflow(int value) {
    return std::numeric_limits<int>::max() + value; // overflow
}

int leak(int size) {
    const volatile char* bytes = new char[static_cast<std::size_t>(size)]{}; // leak
    return *bytes;
}

} // namespace

/// Has the defect that its argument names.
int main(int argc, char** argv) {
    const std::string_view defect = argc == 2 ? argv[1] : "";
    if (defect == "use-after-free")
        return useAfterFree(argc - 1);
    if (defect == "use-after-return")
        return useAfterReturn(argc - 1);
    if (defect == "overflow")
        return overflow(argc);
    if (defect == "leak")
        return leak(argc);
    return 64;
}
