! Judges list-directed reading: the status and the values that the Fortran run-time makes of each case.
!
! Argument: a folder. Its file "cases" holds lines "KIND NAME": which reads to make, and the file to make them on.
! Standard output: for each case one line; for each of its reads the status (0, -1 end of input, 1 error), the bits of
! the items where it is 0 (a failed read promises none), and a semicolon.
program judge_list_directed
  use, intrinsic :: iso_fortran_env, only: int32, int64, real64, iostat_end
  implicit none
  character(len=400) :: folder, name
  character(len=400) :: answer
  integer :: kind, status

  call get_command_argument(1, folder)
  open(10, file=trim(folder)//'/cases', status='old', action='read')
  do
    read(10, *, iostat=status) kind, name
    if (status /= 0) exit
    answer = ' '
    if (kind <= 5) then
      call judge_file(kind, trim(folder)//'/'//trim(name))
    else
      call judge_line(kind, trim(folder)//'/'//trim(name))
    end if
    write(*, '(a)') trim(answer)
  end do

contains

  subroutine judge_file(kind, name)
    integer, intent(in) :: kind
    character(len=*), intent(in) :: name
    real(real64) :: x(5)
    integer(int32) :: n(5)
    integer :: status
    x = -77
    n = -77
    open(1, file=name, status='old', action='read')
    select case (kind)
    case (1)
      read(1, *, iostat=status) x(1)
    case (2)
      read(1, *, iostat=status) x(1), x(2), x(3)
    case (3)
      read(1, *, iostat=status) n
    case (4)
      read(1, *, iostat=status) x
    case (5)
      read(1, *, iostat=status) x(1), x(2), n(1)
    end select
    call show(status, x, n)
    if (status == 0) then
      x = -77
      n = -77
      read(1, *, iostat=status) x(1), x(2)
      call show(status, x, n)
    end if
    close(1)
  end subroutine

  subroutine judge_line(kind, name)
    integer, intent(in) :: kind
    character(len=*), intent(in) :: name
    character(len=1000) :: line
    real(real64) :: x(5)
    integer(int32) :: n(5)
    integer :: status
    x = -77
    n = -77
    line = ' '
    open(1, file=name, status='old', action='read')
    read(1, '(a)', iostat=status) line
    close(1)
    select case (kind)
    case (6)
      read(line, *, iostat=status) x(1), x(2), x(3)
    case (7)
      read(line, *, iostat=status) x(1), x(2), n(1)
    case (8)
      read(line, *, iostat=status) n(1)
    end select
    call show(status, x, n)
  end subroutine

  subroutine show(status, x, n)
    integer, intent(in) :: status
    real(real64), intent(in) :: x(5)
    integer(int32), intent(in) :: n(5)
    integer :: class
    character(len=200) :: text
    class = 1
    if (status == 0) class = 0
    if (status == iostat_end) class = -1
    if (class == 0) write(text, '(i0, 5(1x, z16.16), 5(1x, i0))') class, transfer(x, 0_int64, 5), n
    if (class /= 0) write(text, '(i0)') class
    answer = trim(answer)//trim(text)//';'
  end subroutine
end program
