// Headers precompiled for the tests need a program that has them; this one does nothing.

int main() {
    return 0;
}
