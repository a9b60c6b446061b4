// tshell-calibrate: calibration files and settings fragments from raw captures.
int main() {
  return 1;
}
