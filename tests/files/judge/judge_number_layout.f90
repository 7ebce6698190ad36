! Judges number layouts: each line "LAYOUT BITS" of the input (the bits of an r8 in hexadecimal, or an integer) comes back
! as the Fortran run-time writes the number in that layout.
program judge_number_layout
  use, intrinsic :: iso_fortran_env, only: int64, real64
  implicit none
  character(len=20) :: layout, text
  integer(int64) :: bits
  integer :: status

  do
    read(*, '(a8, a20)', iostat=status) layout, text
    if (status /= 0) exit
    if (layout(1:1) == 'I') then
      read(text, *) bits
      write(*, '('//trim(layout)//')') bits
    else
      read(text, '(z16)') bits
      write(*, '('//trim(layout)//')') transfer(bits, 0.0_real64)
    end if
  end do
end program
