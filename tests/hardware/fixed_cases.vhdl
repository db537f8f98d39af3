-- Computes casts, sums, differences, products and quotients with the IEEE fixed-point package, and casts with the
-- resize of numeric_std, and writes the words of the results.
--
-- The file `cases` has a line for every group of words of the same types:
--
--     operation sign rounding overflow  a'high a'low  b'high b'low  guard_bits  count
--
-- with one letter for each of the first four: c + - * / n (n: numeric_std), s u, r t (fixed_round, fixed_truncate),
-- s w (fixed_saturate, fixed_wrap). The words of the operands are in the files `left` and `right`, in hexadecimal, a
-- word a line. A cast has no right operand: the range of b is that of its result, and its words are zeros.
library ieee;
use ieee.std_logic_1164.all;
use ieee.numeric_std.all;
use ieee.fixed_float_types.all;
use ieee.fixed_pkg.all;
use std.textio.all;

entity fixed_cases is
  generic (cases, left, right, results : string);
end entity fixed_cases;

architecture bench of fixed_cases is

  function result_of (
    operation : character; a, b : sfixed;
    rounds : fixed_round_style_type; overflows : fixed_overflow_style_type; guard_bits : natural)
    return std_ulogic_vector is
  begin
    case operation is
      when 'c' => return to_sulv(resize(a, b'high, b'low, overflows, rounds));
      when 'n' => return std_ulogic_vector(resize(signed(to_slv(a)), b'length));
      when '+' => return to_sulv(a + b);
      when '-' => return to_sulv(a - b);
      when '*' => return to_sulv(a * b);
      when others => return to_sulv(divide(a, b, rounds, guard_bits));
    end case;
  end function;

  function result_of (
    operation : character; a, b : ufixed;
    rounds : fixed_round_style_type; overflows : fixed_overflow_style_type; guard_bits : natural)
    return std_ulogic_vector is
  begin
    case operation is
      when 'c' => return to_sulv(resize(a, b'high, b'low, overflows, rounds));
      when 'n' => return std_ulogic_vector(resize(unsigned(to_slv(a)), b'length));
      when '+' => return to_sulv(a + b);
      when '-' => return to_sulv(a - b);
      when '*' => return to_sulv(a * b);
      when others => return to_sulv(divide(a, b, rounds, guard_bits));
    end case;
  end function;

  procedure read_word (file words : text; word : out std_ulogic_vector) is
    variable l : line;
  begin
    readline(words, l);
    hread(l, word);
  end procedure;

begin

  run : process is
    file case_file   : text open read_mode is cases;
    file left_file   : text open read_mode is left;
    file right_file  : text open read_mode is right;
    file result_file : text open write_mode is results;

    procedure run_group (
      operation, sign : character; rounds : fixed_round_style_type; overflows : fixed_overflow_style_type;
      a_high, a_low, b_high, b_low : integer; guard_bits, count : natural) is
      variable a : std_ulogic_vector(a_high - a_low downto 0);
      variable b : std_ulogic_vector(b_high - b_low downto 0);
      variable l : line;
    begin
      for i in 1 to count loop
        read_word(left_file, a);
        read_word(right_file, b);
        if sign = 's' then
          hwrite(l, result_of(operation, to_sfixed(a, a_high, a_low), to_sfixed(b, b_high, b_low),
                              rounds, overflows, guard_bits));
        else
          hwrite(l, result_of(operation, to_ufixed(a, a_high, a_low), to_ufixed(b, b_high, b_low),
                              rounds, overflows, guard_bits));
        end if;
        writeline(result_file, l);
      end loop;
    end procedure;

    variable l                                               : line;
    variable modes                                           : string(1 to 7);
    variable rounds                                          : fixed_round_style_type;
    variable overflows                                       : fixed_overflow_style_type;
    variable a_high, a_low, b_high, b_low, guard_bits, count : integer;
  begin
    while not endfile(case_file) loop
      readline(case_file, l);
      read(l, modes);
      rounds    := fixed_round when modes(5) = 'r' else fixed_truncate;
      overflows := fixed_saturate when modes(7) = 's' else fixed_wrap;
      read(l, a_high);
      read(l, a_low);
      read(l, b_high);
      read(l, b_low);
      read(l, guard_bits);
      read(l, count);
      run_group(modes(1), modes(3), rounds, overflows, a_high, a_low, b_high, b_low, guard_bits, count);
    end loop;
    wait;
  end process;

end architecture bench;
